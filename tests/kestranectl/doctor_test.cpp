#include "tests/kestranectl/doctor_test.h"

#include "tests/support/samples.h"

#include <algorithm>
#include <tuple>

namespace kestranectl {

DoctorTest::DoctorTest()
    : bridgeRoot(root + "/bridge")
    , probe { .status = 0 }
    , probes { .startHost =
                   [this](const std::string& path) {
                       started.push_back(path);
                       return probe;
                   },
        .now = [] { return support::sampleTime; },
        .processExists = [this](std::int32_t) { return isApplicationThere; } }
{
    install("chrome");
    leaveManifest("chrome", soundManifest());
    support::makeDirectory(bridgeRoot);
    support::writeToken(bridgeRoot);
    support::writeState(bridgeRoot);
    support::writePreferences(bridgeRoot, support::preferences(true));
    variables["MERROWIN_BRIDGE_DIR"] = bridgeRoot;
}

void DoctorTest::examineAll(const DoctorOptions& options)
{
    findings = examine(options, surroundings, probes);
}

bool DoctorTest::found(Verdict verdict, std::string_view subject, std::string_view part) const
{
    return std::ranges::any_of(findings, [&](const Finding& finding) {
        return finding.verdict == verdict && finding.subject == subject
            && finding.text.find(part) != std::string::npos;
    });
}

std::string DoctorTest::all(Verdict verdict) const
{
    std::string text;
    for (const Finding& finding : findings) {
        if (finding.verdict == verdict)
            text += finding.subject + ": " + finding.text + '\n';
    }
    return text;
}

std::string DoctorTest::advice() const
{
    const auto first = std::ranges::find(findings, Verdict::bad, &Finding::verdict);
    return first == findings.end() ? std::string() : first->advice;
}

namespace {

using Doctor = DoctorTest;

TEST_F(Doctor, FindsNothingWrongWhereNothingIs)
{
    examineAll();
    EXPECT_EQ(all(Verdict::bad), "");
    EXPECT_EQ(all(Verdict::unknown), "");
    EXPECT_TRUE(found(Verdict::good, "manifest", manifest("chrome")));
    EXPECT_TRUE(found(Verdict::good, "extension", identifier));
    EXPECT_TRUE(found(Verdict::good, "executable", "was started"));
    EXPECT_TRUE(found(Verdict::good, "token"));
    EXPECT_TRUE(found(Verdict::good, "application", "process 4711"));
    EXPECT_TRUE(found(Verdict::good, "session"));
}

TEST_F(Doctor, GoesFromTheBrowserToTheApplication)
{
    examineAll();
    std::vector<std::string> subjects;
    for (const Finding& finding : findings) {
        if (std::ranges::find(subjects, finding.subject) == subjects.end())
            subjects.push_back(finding.subject);
    }
    EXPECT_EQ(subjects,
        (std::vector<std::string> { "browser", "manifest", "extension", "executable", "environment",
            "bridge directory", "token", "application", "session", "frontmost browser",
            "preferences", "commands", "events", "readiness" }));
}

TEST_F(Doctor, PrintsALineForEachFinding)
{
    EXPECT_EQ(runDoctor({ .bridgeDirectory = bridgeRoot }, surroundings, probes, console),
        ExitStatus::success);
    EXPECT_TRUE(output.starts_with("ok       browser: Google Chrome has its profiles in "));
    EXPECT_NE(output.find("\nnotice   readiness: No extension has reported to Kestrane yet.\n"
                          "         -> Open the browser"),
        std::string::npos);
    EXPECT_TRUE(output.ends_with("\nFound 0 problems.\n"));
    EXPECT_EQ(errors, "");
}

TEST_F(Doctor, EndsWithAProblemIfThereIsOne)
{
    support::writeToken(bridgeRoot, "no");
    EXPECT_EQ(runDoctor({}, surroundings, probes, console), ExitStatus::problem);
    EXPECT_NE(output.find("\nPROBLEM  token: "), std::string::npos);
    EXPECT_TRUE(output.ends_with("\nFound 1 problem.\n"));
}

TEST_F(Doctor, PrintsOneObjectForEachFindingIfAsked)
{
    support::writeToken(bridgeRoot, "no");
    EXPECT_EQ(runDoctor({ .json = true }, surroundings, probes, console), ExitStatus::problem);
    EXPECT_TRUE(output.starts_with("{\"verdict\":\"good\",\"subject\":\"browser\",\"text\":"));
    EXPECT_NE(
        output.find("{\"verdict\":\"bad\",\"subject\":\"token\",\"text\":"), std::string::npos);
    EXPECT_TRUE(output.ends_with("}\n"));
}

TEST_F(Doctor, ShowsTextsOfOthersSoThatATerminalDoesNothing)
{
    leaveManifest("chrome", encode(makeManifest("/\x1b[31m", { identifier })));
    for (const bool json : { false, true }) {
        output.clear();
        std::ignore = runDoctor({ .json = json }, surroundings, probes, console);
        EXPECT_EQ(output.find('\x1b'), std::string::npos);
        EXPECT_EQ(output.find("\\u001b"), std::string::npos);
        EXPECT_NE(output.find("x1B[31m"), std::string::npos);
    }
}

TEST_F(Doctor, NeverShowsTheToken)
{
    const std::string almost(63, 'e');
    support::writeToken(bridgeRoot, almost);
    std::ignore = runDoctor({}, surroundings, probes, console);
    EXPECT_EQ(output.find(almost.substr(0, 8)), std::string::npos);
    support::writeToken(bridgeRoot);
    std::ignore = runDoctor({}, surroundings, probes, console);
    EXPECT_EQ(output.find(support::validToken.substr(0, 8)), std::string::npos);
}

TEST_F(Doctor, RefusesNamesAndIdentifiersThatMakeNoSense)
{
    EXPECT_EQ(runDoctor({ .browsers = { "chrome", "netscape" } }, surroundings, probes, console),
        ExitStatus::usage);
    EXPECT_EQ(runDoctor({ .extensionIdentifier = "abc" }, surroundings, probes, console),
        ExitStatus::usage);
    EXPECT_EQ(output, "");
    EXPECT_EQ(errors,
        "No browser is known as \"netscape\".\n"
        "\"abc\" is no extension identifier: those are 32 letters from \"a\" to \"p\".\n");
}

TEST(ExplainLength, ShowsTheTextThatWasTakenForALength)
{
    EXPECT_EQ(explainLength(1836017711),
        "1836017711 is what the four bytes \"/hom\" mean as the length of a message. They look "
        "like "
        "the beginning of a text: the host, or something that it starts, has printed that to "
        "standard output, where messages alone belong.");
}

TEST(ExplainLength, ShowsBytesThatAreNoTextAsNumbers)
{
    EXPECT_TRUE(explainLength(0x6D335B1B)
            .starts_with("1832082203 is what the four bytes \"\\x1B[3m\" mean as the length of a "
                         "message. They look"));
    EXPECT_TRUE(explainLength(0xFF000001)
            .starts_with("4278190081 is what the four bytes \"\\x01\\x00\\x00\\xFF\" mean as the "
                         "length of a "
                         "message. Browsers accept no more"));
}

TEST(ExplainLength, TellsLengthsThatMayBeTrue)
{
    EXPECT_TRUE(explainLength(1048576).ends_with("so this may well be a true length."));
    EXPECT_FALSE(explainLength(1048577).ends_with("so this may well be a true length."));
    EXPECT_TRUE(explainLength(0).ends_with("Browsers ignore a message without bytes."));
    EXPECT_TRUE(explainLength(1).ends_with("so this may well be a true length."));
}

} // namespace
} // namespace kestranectl
