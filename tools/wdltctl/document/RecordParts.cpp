/* The records in the document: their fields by the names that get and set take. Each value stands once: a field that
   shows what another place shows too is left out. */

#include "FreshValues.h"
#include "LibraryStatus.h"
#include "Part.h"
#include "RecordWrite.h"
#include "Records.h"
#include "Shown.h"
#include "ToolError.h"

#include <algorithm>
#include <fmt/format.h>
#include <iterator>
#include <memory>
#include <optional>
#include <set>
#include <wdltcfg/addresses.h>
#include <wdltcfg/status.h>

namespace wdlt {
namespace {

/* Fields, or bits of one, that stand elsewhere in the document. */
constexpr struct Elsewhere {
    std::string_view record;
    std::string_view field;
    const char* stands;
    std::uint32_t bits = UINT32_MAX;
} kElsewhere[] = {
    {"pvs", "limit-size", "pop3.limit-size"},
    {"svs", "limit-size", "smtp.limit-size"},
    {"wmvs", "limit-size", "http-manager.max-web-mail-scan-size"},
    {"sal", "enable", "features.sal"},
    {"plugin-manager", "enable", "features.plugin-manager"},
    {"https", "enable", "features.https", WDLT_HTTPS_SCAN},
};

/* A field as the document shows it. */
struct ShownField {
    const Field* field;
    std::string name;
    std::uint32_t hidden = 0; /* bits that stand elsewhere */
};

/* Places of the registry that an earlier record shows, by key and value; each record is asked once, in order. */
std::vector<ShownField> shownFields(const Record& record, std::set<std::string>& taken) {
    const Settings& settings = settingsOf(record, "");
    std::vector<ShownField> fields;
    for (const Field& field : record.fields) {
        ShownField shown{&field, nameOf(field)};
        const auto* const elsewhere = std::ranges::find_if(
            kElsewhere, [&](const Elsewhere& each) { return each.record == record.name && each.field == shown.name; });
        shown.hidden = elsewhere == std::end(kElsewhere) ? 0 : elsewhere->bits;
        const bool isNew =
            field.value == nullptr || taken.insert(fmt::format("{}\\{}", settings.key, field.value)).second;
        if (!isReadOnly(field) && isNew && shown.hidden != UINT32_MAX)
            fields.push_back(std::move(shown));
    }
    return fields;
}

constexpr const char* kInstallPath = "install-path";

/* What a read of the field can give. */
Range readRange(const Field& field) {
    const NumberRule& rule = field.onRead;
    if (rule.outside == NumberRule::Outside::Passes)
        return {0, UINT32_MAX >> (32 - 8 * field.bytes)};
    const bool hasOther = rule.outside == NumberRule::Outside::TakesOther;
    return {hasOther ? std::min(rule.low, rule.other) : rule.low,
            hasOther ? std::max(rule.high, rule.other) : rule.high};
}

Json fieldSchema(const ShownField& shown) {
    const Field& field = *shown.field;
    Json type;
    switch (field.kind) {
    case FieldKind::Text:
    case FieldKind::SealedText:
        type = {{"type", "string"}, {"maxLength", field.bytes}};
        break;
    case FieldKind::NameList:
        type = {{"type", "array"},
                {"items", {{"type", "string"}, {"minLength", 1}, {"maxLength", field.slotBytes}}},
                {"maxItems", field.bytes / field.slotBytes}};
        break;
    default:
        type = {{"type", "integer"}};
        if (field.isSigned) {
            const std::int64_t half = std::int64_t{1} << (8 * field.bytes - 1);
            type["minimum"] = -half;
            type["maximum"] = half - 1;
        } else {
            type["minimum"] = readRange(field).low;
            type["maximum"] = readRange(field).high;
        }
    }
    Json schema = {{"description", fieldHelp(field)}};
    schema["oneOf"] = {std::move(type), {{"type", "null"}}};
    return schema;
}

/* The text that set would be given; nullopt for a value of another type. */
std::optional<std::string> typedText(const Field& field, const Json& value) {
    if (field.kind == FieldKind::Number)
        return value.is_number_integer() ? std::optional(value.dump()) : std::nullopt;
    if (field.kind != FieldKind::NameList)
        return value.is_string() ? std::optional(value.get<std::string>()) : std::nullopt;
    if (!value.is_array())
        return std::nullopt;
    std::string names;
    for (const Json& name : value) {
        if (!name.is_string() || name.get_ref<const std::string&>().find(',') != std::string::npos)
            return std::nullopt;
        names += (names.empty() ? "" : ",") + name.get<std::string>();
    }
    return names;
}

const char* typeNeeded(const Field& field) {
    return field.kind == FieldKind::Number     ? "a whole number is needed"
           : field.kind == FieldKind::NameList ? "a list of texts without commas is needed"
                                               : "a text is needed";
}

bool isOfThisMachine(const Field& field) {
    return field.isDirectory && !field.freshText.empty();
}

class RecordPart : public Part {
  public:
    RecordPart(const Record& record, std::vector<ShownField> fields)
        : Part({"records", std::string(record.name)}, record.help), m_record(record), m_fields(std::move(fields)) {
        for (const ShownField& each : m_fields)
            m_names.push_back(each.name);
    }

    Json read() const override {
        return eachOf([&](const std::string& which, const DocumentPath& place) { return readOne(which, place); });
    }

    Json wanted(const Json& given, const Json& now, Complaints& complaints) const override {
        if (m_record.whichName == nullptr)
            return wantedOne("", path(), given, now, complaints);
        Json wanted = now;
        if (given.is_null()) {
            for (const auto& [which, state] : now.items())
                wanted[which] = wantedOne(which, below(path(), which), nullptr, state, complaints);
            return wanted;
        }
        std::vector<std::string> known;
        for (const auto& [which, state] : now.items())
            known.push_back(which);
        eachMember(given, path(), known, complaints, [&](const std::string& which, const Json& value) {
            wanted[which] = wantedOne(which, below(path(), which), value, now[which], complaints);
        });
        return wanted;
    }

    void check(const Json& wanted, bool isForced, Complaints& complaints) const override {
        if (m_record.lookBeforeWrite != nullptr)
            m_record.lookBeforeWrite(isForced);
        if (const auto install = wanted.find(kInstallPath); m_record.name == "system" && install != wanted.end())
            complaints.collect(below(path(), kInstallPath), [&] { checkInstall(install->get<std::string>()); });
    }

    std::int32_t write(const Json& now, const Json& wanted) const override {
        if (m_record.whichName == nullptr)
            return writeOne("", now, wanted);
        std::int32_t status = WDLT_OK;
        for (const auto& [which, state] : wanted.items())
            if (!isSame(state, now.at(which)))
                if (const std::int32_t one = writeOne(which, now.at(which), state); one != WDLT_OK)
                    status = one;
        return status;
    }

    Json schema() const override {
        Json properties = Json::object();
        for (const ShownField& each : m_fields)
            properties[each.name] = fieldSchema(each);
        const Json one = {{"type", "object"}, {"properties", properties}, {"additionalProperties", false}};
        if (m_record.whichName == nullptr)
            return schemaOf(one);
        return schemaOf({{"type", "object"}, {"additionalProperties", {{"oneOf", {one, {{"type", "null"}}}}}}});
    }

    bool isSecret(std::span<const std::string> inside) const override {
        const auto found =
            std::ranges::find(m_fields, inside.empty() ? std::string() : inside.back(), &ShownField::name);
        return found != m_fields.end() && found->field->isSecret;
    }

  private:
    template <class Body>
    Json eachOf(Body&& body) const {
        if (m_record.whichName == nullptr)
            return body("", path());
        Json all = Json::object();
        for (const std::string& which : m_record.whichWords())
            all[which] = body(which, below(path(), which));
        return all;
    }

    std::vector<BYTE> bytesOf(const std::string& which) const {
        std::vector<BYTE> bytes(m_record.size);
        checkStatus(m_record.read(which, bytes), which.empty() ? pathText(path()) : pathText(below(path(), which)));
        return bytes;
    }

    Json readOne(const std::string& which, const DocumentPath& place) const {
        const std::vector<BYTE> bytes = bytesOf(which);
        Json state = Json::object();
        for (const ShownField& each : m_fields) {
            if (!isTextOfCodePage(*each.field, bytes))
                throw ToolError(ExitStatus::Unknown, fmt::format("{}: not a text of the system code page",
                                                                 pathText(below(place, each.name))));
            Json value = fieldJson(*each.field, bytes, true);
            // A directory that is stored as an empty text reads as another one.
            if (each.field->isDirectory && registryText(keyOf(m_record, which).path, *each.field) == "")
                value = "";
            if (each.hidden != 0)
                value = value.get<std::uint32_t>() & ~each.hidden;
            state[each.name] = std::move(value);
        }
        return state;
    }

    Json wantedOne(const std::string& which, const DocumentPath& place, const Json& given, const Json& now,
                   Complaints& complaints) const {
        Json wanted = now;
        const auto take = [&](const std::string& name, const Json& value) {
            const ShownField& shown = *std::ranges::find(m_fields, name, &ShownField::name);
            wanted[name] = wantedField(which, shown, below(place, name), value, now, complaints);
        };
        if (!given.is_null()) {
            eachMember(given, place, m_names, complaints, take);
            return wanted;
        }
        // An installation stays where it is.
        for (const ShownField& each : m_fields)
            if (const Field fresh = freshField(which, each); fresh.hasFresh && !isOfThisMachine(fresh))
                take(each.name, nullptr);
        return wanted;
    }

    Field freshField(const std::string& which, const ShownField& shown) const {
        return *std::ranges::find(settingsOf(m_record, which).fields, shown.field->member, &Field::member);
    }

    Json wantedField(const std::string& which, const ShownField& shown, const DocumentPath& place, const Json& given,
                     const Json& now, Complaints& complaints) const {
        // What is there stays, even where set wouldn't take it; and what stands for a secret is none.
        if (now.contains(shown.name) && (given == now[shown.name] || (shown.field->isSecret && given == kHiddenSecret)))
            return now[shown.name];
        Field field = *shown.field;
        std::optional<std::string> text = typedText(field, given);
        if (given.is_null()) {
            field = freshField(which, shown);
            if (field.hasFresh && !isOfThisMachine(field))
                text = freshAsTyped(field);
        }
        if (!text || (field.kind == FieldKind::Number && given.is_number_unsigned() &&
                      (given.get<std::uint64_t>() & shown.hidden) != 0)) {
            complaints.add(place, given.is_null() ? "a fresh installation has none of its own"
                                  : text          ? "bit 1 is features.https"
                                                  : typeNeeded(field));
            return now;
        }
        Json wanted;
        complaints.collect(place, [&] {
            std::vector<BYTE> trial(m_record.size);
            putField(field, trial, given.is_null() ? *text : completeText(field, *text));
            wanted = fieldJson(field, trial, true);
            if (field.isFileName && wanted.get_ref<const std::string&>().find_first_of("\\/:") != std::string::npos)
                throw ToolError(ExitStatus::Usage, "a file's name without a folder is needed");
        });
        return wanted;
    }

    std::int32_t writeOne(const std::string& which, const Json& now, const Json& wanted) const {
        std::vector<BYTE> bytes = bytesOf(which);
        std::vector<Field> changed;
        std::vector<Field> emptied;
        for (const ShownField& each : m_fields) {
            if (wanted.at(each.name) == now.at(each.name))
                continue;
            std::string text = typedText(*each.field, wanted.at(each.name)).value();
            if (each.hidden != 0)
                text = fmt::format("{}", wanted.at(each.name).get<std::uint32_t>() |
                                             (fieldJson(*each.field, bytes, true).get<std::uint32_t>() & each.hidden));
            putField(*each.field, bytes, text);
            changed.push_back(*each.field);
            // The library keeps some texts when it is given an empty one.
            if (const Field fresh = freshField(which, each);
                text.empty() && fresh.hasFresh && fresh.freshText.empty() && fresh.value != nullptr)
                emptied.push_back(fresh);
        }
        if (!emptied.empty())
            layDownFresh(keyOf(m_record, which), emptied, false);
        return writeRecord(m_record, which, bytes, changed);
    }

    const Record& m_record;
    std::vector<ShownField> m_fields;
    std::vector<std::string> m_names;
};

} // namespace

void addRecordParts(std::vector<const Part*>& parts) {
    std::set<std::string> taken;
    static std::vector<std::unique_ptr<const Part>> all;
    for (const Record& record : allRecords())
        if (std::vector<ShownField> fields = shownFields(record, taken); !fields.empty())
            parts.push_back(all.emplace_back(std::make_unique<RecordPart>(record, std::move(fields))).get());
}

} // namespace wdlt
