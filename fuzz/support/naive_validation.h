#pragma once
// The rules of events once more, one sentence of them after the other, over code points.

#include "fuzz/support/naive_text.h"

#include <optional>
#include <string>

namespace fuzz {

/// An event as the validator sees it, with texts taken apart.
struct NaiveEvent {
    double age = 0; // now minus its time stamp; not finite if one of them is not
    std::string browser {};
    Scalars displayName {};
    std::optional<Scalars> hostname {};
    std::optional<Scalars> tab {};
    std::string type {};
    bool isPrivate = false;
    bool isLocalPDF = false;
    std::optional<Scalars> pdfIdentifier {};
    std::optional<Scalars> pdfLabel {};
    bool hasLabelSource = false;
};

/// The texts of an accepted event.
struct NaiveNormalForm {
    std::string displayName {};
    std::optional<std::string> hostname {};
    std::optional<std::string> tab {};
    std::optional<std::string> pdfIdentifier {};
    std::optional<std::string> pdfLabel {};
};

struct NaiveVerdict {
    /// What the extension is told; empty if the event is accepted.
    std::string refusal {};
    NaiveNormalForm normalForm {};
};

[[nodiscard]] NaiveVerdict judgeEvent(const NaiveEvent& event);

} // namespace fuzz
