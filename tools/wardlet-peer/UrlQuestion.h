/* The question whether a URL is on a list, as the service answers it: from the list's file, through the library. The
   caller that asks creates the memory that holds the question. */
#pragma once

#include <cstdint>
#include <string>

namespace wdlt {

struct UrlAnswer {
    std::int32_t status; /* WDLT_OK, or why there is no answer */
    std::uint32_t listType;
    std::string url; /* in the system code page */
    bool isFound;
};

/* Whether the action is this question. */
bool isUrlQuestion(std::uint32_t protocol, std::uint32_t scan, std::uint32_t action);

/* Reads the question, and writes the answer into it. */
UrlAnswer answerUrlQuestion();

} // namespace wdlt
