#include "EtcdText.h"

#include <charconv>
#include <nettle/base64.h>

namespace wdlt {
namespace {

/* Deeper than any message. What nests deeper is dropped: it would take a hundred times its length. */
constexpr int kMostDepth = 16;

} // namespace

std::string base64(std::string_view bytes) {
    std::string text(BASE64_ENCODE_RAW_LENGTH(bytes.size()), '\0');
    base64_encode_raw(text.data(), bytes.size(), reinterpret_cast<const std::uint8_t*>(bytes.data()));
    return text;
}

Json etcdMessage(std::string_view text) {
    const auto isKept = [](int depth, Json::parse_event_t, const Json&) { return depth < kMostDepth; };
    Json message = Json::parse(text, isKept, false);
    return message.is_object() ? message : Json();
}

const Json& memberOf(const Json& object, const char* name) {
    static const Json none;
    const auto found = object.is_object() ? object.find(name) : object.end();
    return found == object.end() ? none : *found;
}

std::int64_t numberIn(const Json& object, const char* name) {
    const Json& member = memberOf(object, name);
    if (member.is_number_integer())
        return member.get<std::int64_t>();
    std::int64_t number = 0;
    if (member.is_string()) {
        const auto& text = member.get_ref<const std::string&>();
        std::from_chars(text.data(), text.data() + text.size(), number);
    }
    return number;
}

std::optional<std::string> bytesIn(const Json& object, const char* name) {
    const Json& member = memberOf(object, name);
    if (!member.is_string())
        return std::string(); // the store leaves out what is empty
    const auto& text = member.get_ref<const std::string&>();
    std::string bytes(BASE64_DECODE_LENGTH(text.size()), '\0');
    base64_decode_ctx context{};
    base64_decode_init(&context);
    std::size_t size = bytes.size();
    if (base64_decode_update(&context, &size, reinterpret_cast<std::uint8_t*>(bytes.data()), text.size(),
                             text.data()) == 0 ||
        base64_decode_final(&context) == 0)
        return std::nullopt;
    bytes.resize(size);
    return bytes;
}

std::int64_t revisionOf(const Json& message) {
    return numberIn(memberOf(message, "header"), "revision");
}

std::string errorTextOf(const Json& message) {
    const Json& error = memberOf(message, "error");
    const Json& text = error.is_object() ? memberOf(error, "message") : error;
    if (text.is_string())
        return text.get<std::string>();
    return error.is_null() ? std::string() : "an error without a text";
}

EtcdError errorOf(const Json& message) {
    const Json& error = memberOf(message, "error");
    return static_cast<EtcdError>(error.is_object() ? numberIn(error, "grpc_code") : numberIn(message, "code"));
}

} // namespace wdlt
