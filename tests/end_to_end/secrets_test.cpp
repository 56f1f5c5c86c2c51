// What was visited and the token go into the records for the application and nowhere else.

#include "tests/end_to_end/end_to_end_test.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace end_to_end;

class Secrets : public EndToEnd {
protected:
    static constexpr std::string_view hostname = "secret-host.example";
    static constexpr std::string_view tab = "secret-tab";
    static constexpr std::string_view label = "secret-label.pdf";
    static constexpr std::string_view pdf = "8D8AC610-566D-4EF0-9C22-186B2A5ED793";

    static object page(const object& members = {})
    {
        object all { { "hostname", text(hostname) }, { "temporaryTabIdentifier", text(tab) } };
        for (const auto& member : members)
            all[member.key()] = member.value();
        return activity(all);
    }

    static object document(const object& members = {})
    {
        object all { { "resourceType", "localPDF" }, { "hostname", nullptr },
            { "temporaryTabIdentifier", nullptr }, { "pdfIdentifier", text(pdf) },
            { "pdfLabel", text(label) }, { "pdfLabelSource", "filename" } };
        for (const auto& member : members)
            all[member.key()] = member.value();
        return activity(all);
    }

    static void expectNoSecretIn(std::string_view where)
    {
        for (const std::string_view secret : { std::string_view(support::validToken), hostname, tab,
                 label, pdf, std::string_view("secret") })
            EXPECT_EQ(where.find(secret), std::string_view::npos) << where;
    }

    // The answer to a request, as it came.
    std::string answerTo(const object& payload)
    {
        send(payload);
        return host().readFrame().value_or("no answer");
    }

    void expectNoSecretInAnswers()
    {
        const std::vector<object> requests {
            page(),
            document(),
            // Each breaks a rule, most of them with the secret itself.
            page({ { "hostname", "https://secret-host.example/" } }),
            page({ { "hostname", std::string(300, 'x') + ".secret" } }),
            page({ { "temporaryTabIdentifier", "secret\n" } }),
            page({ { "temporaryTabIdentifier", std::string(300, 'x') + "secret" } }),
            page({ { "isPrivate", true } }),
            page({ { "browserDisplayName", "secret" } }),
            page({ { "browserBundleIdentifier", "secret" } }),
            page({ { "timestamp", timestampText(-1000) } }),
            page({ { "timestamp", "secret" } }),
            page({ { "eventType", "secret" } }),
            page({ { "id", "secret" } }),
            document({ { "pdfLabel", "secret\n" } }),
            document({ { "pdfLabel", "secret" + std::string(3000, 'x') } }),
            document({ { "pdfLabelSource", "secret" } }),
            document({ { "hostname", text(hostname) } }),
            request("secret"),
            request("readinessPing", { { "extensionVersion", "secret" } }),
        };
        for (const object& payload : requests)
            expectNoSecretIn(answerTo(payload));
        host().sendFrame(R"({"protocolVersion":1,"type":"secret)");
        expectNoSecretIn(host().readFrame().value_or("no answer"));
    }
};

TEST_F(Secrets, AreInTheRecordsForTheApplication)
{
    EXPECT_EQ(ask(page()).at("accepted"), true);
    leavePreferences(true);
    EXPECT_EQ(ask(document()).at("accepted"), true);
    ASSERT_EQ(inbox().size(), 2U);
    EXPECT_EQ(inbox()[0].event.at("hostname"), text(hostname));
    EXPECT_EQ(inbox()[0].envelope.at("token"), text(support::validToken));
    EXPECT_EQ(inbox()[1].event.at("pdfLabel"), text(label));
    expectEnd();
}

TEST_F(Secrets, AreInNoAnswer)
{
    expectNoSecretInAnswers();
    expectEnd(); // without a word on standard error
}

TEST_F(Secrets, AreInNoAnswerWithoutAnApplication)
{
    std::filesystem::remove(pathOf("state.json"));
    expectNoSecretInAnswers();
    expectEnd();
}

TEST_F(Secrets, AreInNoAnswerWhereRecordsCannotBeWritten)
{
    support::writeFile(pathOf("Inbox"), "secret");
    support::writeFile(pathOf("Readiness"), "secret");
    expectNoSecretInAnswers();
    expectEnd();
}

TEST_F(Secrets, AreInNoAnswerWhereRecordsCannotBeRead)
{
    for (const char* const name : { "bridge-token", "preferences.json", "state.json" }) {
        SCOPED_TRACE(name);
        support::writeFile(pathOf(name), R"({"secret":"secret)");
        expectNoSecretInAnswers();
    }
    expectEnd();
}

TEST_F(Secrets, AreInNoNameOfAFile)
{
    expectNoSecretInAnswers();
    EXPECT_FALSE(inbox().empty());
    for (const InboxEvent& event : inbox())
        expectNoSecretIn(event.fileName);
    for (const std::string& name : namesMadeByHost())
        expectNoSecretIn(name);
    expectEnd();
}

} // namespace
