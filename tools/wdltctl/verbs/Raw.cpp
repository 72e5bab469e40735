/* raw read and raw write: any address, as bytes. */

#include "Display.h"
#include "Files.h"
#include "LibraryStatus.h"
#include "Numbers.h"
#include "ToolError.h"
#include "Verbs.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdint>
#include <fmt/format.h>
#include <limits>
#include <memory>
#include <nlohmann/json.hpp>
#include <vector>
#include <wdltcfg/status.h>
#include <wdltcfg/wdltcfg.h>

namespace wdlt {
namespace {

// Larger than any record; a bigger size is a sign of damage.
constexpr std::uint64_t kMaxRecordBytes = std::uint64_t{64} << 20;

/* As typed; numbers are decimal or 0x.... */
struct RawArguments {
    std::string protocol;
    std::string scan;
    std::string input = "0";
    std::string type = "0";
    std::string size;
    std::string file;
    std::string content; /* of a file to write */
};

struct Address {
    std::uint32_t protocol;
    std::uint32_t scan;
    std::uint32_t input;
    std::uint64_t type;
};

std::uint64_t number(const char* name, const std::string& text, std::uint64_t limit) {
    const auto parsed = parseNumber(text);
    if (!parsed || *parsed > limit)
        throw ToolError(ExitStatus::Usage, fmt::format("{}: \"{}\" isn't a number from 0 to {}", name, text, limit));
    return *parsed;
}

Address parseAddress(const RawArguments& arguments) {
    const auto number32 = [](const char* name, const std::string& text) {
        return static_cast<std::uint32_t>(number(name, text, std::numeric_limits<std::uint32_t>::max()));
    };
    return {number32("PROTOCOL", arguments.protocol), number32("SCAN", arguments.scan),
            number32("--input", arguments.input),
            number("--type", arguments.type, std::numeric_limits<std::uint64_t>::max())};
}

struct Reply {
    std::int32_t status;
    std::uint64_t size; /* in: the buffer's; out: the library's */
    std::vector<BYTE> bytes;
};

Reply readWith(const Address& address, std::uint64_t size) {
    Reply reply{0, size, std::vector<BYTE>(size)};
    reply.status =
        WdltReadConfigEx(address.protocol, address.scan, address.input, address.type, reply.bytes.data(), &reply.size);
    return reply;
}

/* The size that the address asks for; 0 when a read of zero bytes succeeds. */
std::uint64_t queryRecordSize(const Address& address) {
    Reply reply = readWith(address, 0);
    if (reply.status == WDLT_E_INVALID_ARGUMENT) {
        // Some addresses check the buffer before the size, so they need one even for the size query.
        BYTE none[16] = {};
        reply.size = 0;
        reply.status = WdltReadConfigEx(address.protocol, address.scan, address.input, address.type, none, &reply.size);
        if (reply.status == WDLT_E_INVALID_ARGUMENT)
            checkStatus(reply.status, "the address may not tell its size; --size gives it");
    }
    if (reply.status != WDLT_E_BUFFER_SIZE)
        checkStatus(reply.status);
    if (reply.size > kMaxRecordBytes)
        throw ToolError(ExitStatus::Failed, fmt::format("the address asks for {} bytes", reply.size));
    return reply.size;
}

Reply readWhole(const Address& address) {
    // A list may grow between the query and the read.
    constexpr int kRepeats = 3;
    Reply reply = readWith(address, queryRecordSize(address));
    for (int i = 0; i < kRepeats && reply.status == WDLT_E_BUFFER_SIZE && reply.size <= kMaxRecordBytes; ++i)
        reply = readWith(address, reply.size);
    return reply;
}

Json addressJson(const Address& address) {
    return {{"protocol", address.protocol}, {"scan", address.scan}, {"input", address.input}, {"type", address.type}};
}

void rawRead(const RawArguments& arguments, const Options& options) {
    if (options.json && arguments.file == kStandardStream)
        throw ToolError(ExitStatus::Usage, "--json and --out - both ask for the standard output");
    const Address address = parseAddress(arguments);
    Reply reply = arguments.size.empty() ? readWhole(address)
                                         : readWith(address, number("--size", arguments.size, kMaxRecordBytes));
    checkStatus(reply.status,
                reply.status == WDLT_E_BUFFER_SIZE ? fmt::format("the record takes {} bytes", reply.size) : "");
    reply.bytes.resize(std::min<std::uint64_t>(reply.size, reply.bytes.size()));

    if (!arguments.file.empty())
        writeFile(arguments.file, {reinterpret_cast<const char*>(reply.bytes.data()), reply.bytes.size()});
    if (options.json) {
        Json document = addressJson(address);
        document["status"] = reply.status;
        document["size"] = reply.bytes.size();
        if (arguments.file.empty())
            document["data"] = hexDigits(reply.bytes);
        printJson(document);
    } else if (arguments.file.empty()) {
        writeFile(std::string(kStandardStream), hexDump(reply.bytes));
    }
}

/* The address tells its size only while its record can be read. */
std::string sizesText(const Address& address, std::size_t given) {
    std::string text = fmt::format("the file has {} bytes", given);
    try {
        return fmt::format("{}, the address takes {}", text, queryRecordSize(address));
    } catch (const ToolError&) {
        return text;
    }
}

void rawWrite(const RawArguments& arguments, const Options& options) {
    const Address address = parseAddress(arguments);
    std::string bytes = arguments.content;
    const std::int32_t status =
        WdltWriteConfigEx(address.protocol, address.scan, address.input, address.type, bytes.data(), bytes.size());
    checkStatus(status, status < WDLT_OK ? sizesText(address, bytes.size()) : "");
    if (options.json) {
        Json document = addressJson(address);
        document["status"] = status;
        document["size"] = bytes.size();
        printJson(document);
    }
}

void addAddress(CLI::App* verb, RawArguments& arguments) {
    verb->add_option("PROTOCOL", arguments.protocol, "Protocol of the address")->required();
    verb->add_option("SCAN", arguments.scan, "Scan of the address")->required();
    verb->add_option("--input", arguments.input, "Input of the address")->capture_default_str();
    verb->add_option("--type", arguments.type, "Config type")->capture_default_str();
}

} // namespace

void addRaw(CLI::App& app, const Options& options) {
    auto* raw = app.add_subcommand("raw", "Read or write any address as bytes; numbers are decimal or 0x...");
    raw->require_subcommand(1);
    const auto arguments = std::make_shared<RawArguments>();

    auto* readVerb = raw->add_subcommand("read", "Read a record: its size is asked for, then its bytes");
    addAddress(readVerb, *arguments);
    readVerb->add_option("--size", arguments->size, "Read with this size, without asking for it");
    readVerb->add_option("--out", arguments->file, "File for the bytes, - for the standard output");
    runs(*readVerb, Needs::Tree, [arguments, &options] { rawRead(*arguments, options); });

    auto* writeVerb = raw->add_subcommand("write", "Write a record, as it is");
    addAddress(writeVerb, *arguments);
    writeVerb->add_option("FILE", arguments->file, "File with the record's bytes, - for the standard input")
        ->required();
    runs(
        *writeVerb, Needs::Files, [arguments, &options] { rawWrite(*arguments, options); },
        [arguments] { arguments->content = readFile(arguments->file); });
}

} // namespace wdlt
