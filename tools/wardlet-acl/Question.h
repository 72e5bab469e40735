/* The protocol of the proxy's helpers, one line each way: "[channel] URL [word]" is asked, and answered by "[channel] OK",
   ERR or BH with keywords. A channel is told from a URL by itself, so that the helper can't be set to the wrong form: it
   is a number before another token. */
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace wdlt {

enum class Asked : std::uint8_t { Blocked, White, Black, Hosts };

struct Question {
    std::string_view channel; /* empty: none */
    std::string url;
    Asked asked = Asked::Blocked;
    std::string_view problem; /* why it can't be decided; empty: it can */
};

enum class Outcome : std::uint8_t { Yes, No, Undecided };

struct Answer {
    Outcome outcome;
    std::string_view tag;
    std::string_view message;
};

/* How the lines are to be understood and answered. */
struct Dialect {
    std::string redirect;                   /* where a blocked URL is sent to; empty: no rewriting is asked for */
    Outcome undecided = Outcome::Undecided; /* what is said instead of that */
};

/* The views in `question` are into `line`. What follows the URL is the word of the question, but for rewriting. */
void parseQuestion(std::string_view line, const Dialect& dialect, Question& question);
void appendAnswer(std::string& out, std::string_view channel, const Answer& answer, const Dialect& dialect);

/* Without user, port, brackets, dot at the end, escapes and capitals. */
std::string hostOf(std::string_view url);

} // namespace wdlt
