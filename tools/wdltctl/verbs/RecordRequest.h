/* What the verbs about records have in common: the words behind a record's name, and how fields are printed. */
#pragma once

#include "Records.h"
#include "Verbs.h"

#include <functional>
#include <span>
#include <string>
#include <vector>

namespace wdlt {

/* What follows a record's name on the command line: which of several like records, where there are several, then
   fields. */
struct Request {
    Request(const std::string& recordName, const std::vector<std::string>& rest);

    const Record* record;
    std::string which;
    std::vector<std::string> words;
};

std::vector<BYTE> readRecord(const Request& request);
/* `remark` follows a field's text, except in JSON. */
void printFields(std::span<const Field> fields, std::span<const BYTE> bytes, const Options& options,
                 const std::function<std::string(const Field&)>& remark = {});
/* A line for each field; of all records. */
std::string recordHelp(bool writableOnly);

} // namespace wdlt
