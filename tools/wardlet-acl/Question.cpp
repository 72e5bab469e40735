#include "Question.h"

#include "KeyPath.h"

#include <algorithm>
#include <charconv>
#include <iterator>
#include <wdltcfg/records.h>

namespace wdlt {
namespace {

constexpr std::string_view kNothing = "-"; // how the proxy writes an empty token

constexpr struct {
    std::string_view word;
    Asked asked;
} kWords[] = {
    {"", Asked::Blocked},    {kNothing, Asked::Blocked}, {"blocked", Asked::Blocked},
    {"white", Asked::White}, {"black", Asked::Black},    {"hosts", Asked::Hosts},
};

bool isNumber(std::string_view text) {
    return !text.empty() && text.find_first_not_of("0123456789") == text.npos;
}

std::string_view trimmed(std::string_view text) {
    const std::size_t begin = std::min(text.find_first_not_of(" \t\r"), text.size());
    return text.substr(begin, text.find_last_not_of(" \t\r") + 1 - begin);
}

/* Takes the first token off. */
std::string_view takeToken(std::string_view& rest) {
    const std::string_view token = rest.substr(0, rest.find(' '));
    rest = trimmed(rest.substr(token.size()));
    return token;
}

/* A tunnel is asked for by host and port alone: the URL of the site's first page stands for it. */
void putUrl(std::string_view token, std::string& url) {
    const std::size_t colon = token.rfind(':');
    const bool isTunnel = colon != token.npos && token.find('/') == token.npos && isNumber(token.substr(colon + 1));
    if (!isTunnel) {
        url.assign(token);
        return;
    }
    url.assign("https://");
    url.append(token.ends_with(":443") ? token.substr(0, colon) : token).push_back('/');
}

void appendQuoted(std::string& out, std::string_view text) {
    out.push_back('"');
    for (const char c : text) {
        if (c == '"' || c == '\\')
            out.push_back('\\');
        out.push_back(static_cast<unsigned char>(c) < ' ' ? ' ' : c);
    }
    out.push_back('"');
}

std::string unescaped(std::string_view text) {
    std::string plain;
    for (std::size_t i = 0; i < text.size(); ++i) {
        unsigned char byte = 0;
        const char* const digits = text.data() + i + 1;
        if (text[i] == '%' && text.size() - i > 2 && std::from_chars(digits, digits + 2, byte, 16).ptr == digits + 2) {
            plain.push_back(static_cast<char>(byte));
            i += 2;
        } else {
            plain.push_back(text[i]);
        }
    }
    return plain;
}

} // namespace

void parseQuestion(std::string_view line, const Dialect& dialect, Question& question) {
    std::string_view rest = trimmed(line);
    std::string_view token = takeToken(rest);
    question.channel = isNumber(token) ? token : "";
    if (!question.channel.empty())
        token = takeToken(rest);
    putUrl(token, question.url);
    question.asked = Asked::Blocked;
    question.problem = "";
    const auto* const word =
        std::ranges::find_if(kWords, [&](const auto& each) { return equalsIgnoringCase(each.word, rest); });
    if (token.empty() || token == kNothing)
        question.problem = "no URL is given";
    else if (question.url.size() >= sizeof(WdpeUrlfUrlRecord::szUrl))
        question.problem = "the URL is longer than any on a list";
    else if (question.url.find('\0') != std::string::npos)
        question.problem = "a zero byte is in the URL";
    else if (word != std::end(kWords))
        question.asked = word->asked;
    else if (dialect.redirect.empty())
        question.problem = "no such question: blocked, white, black or hosts";
}

void appendAnswer(std::string& out, std::string_view channel, const Answer& answer, const Dialect& dialect) {
    const Outcome outcome = answer.outcome == Outcome::Undecided ? dialect.undecided : answer.outcome;
    if (!channel.empty())
        out.append(channel).push_back(' ');
    out.append(outcome == Outcome::Yes ? "OK" : outcome == Outcome::No ? "ERR" : "BH");
    if (!dialect.redirect.empty() && outcome == Outcome::Yes) {
        out.append(" status=302 url=");
        appendQuoted(out, dialect.redirect);
    }
    out.append(" message=");
    appendQuoted(out, answer.message);
    out.append(" tag=").append(answer.tag).push_back('\n');
}

std::string hostOf(std::string_view url) {
    const std::size_t scheme = url.find("://");
    url.remove_prefix(scheme == url.npos ? 0 : scheme + 3);
    url = url.substr(0, url.find_first_of("/?#"));
    url.remove_prefix(url.rfind('@') + 1);
    std::string host = unescaped(url);
    if (host.starts_with('['))
        host = host.substr(1, std::min(host.find(']'), host.size()) - 1);
    else if (std::ranges::count(host, ':') == 1)
        host.resize(host.find(':'));
    if (host.ends_with('.'))
        host.pop_back();
    std::ranges::transform(host, host.begin(),
                           [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c | 0x20) : c; });
    return host;
}

} // namespace wdlt
