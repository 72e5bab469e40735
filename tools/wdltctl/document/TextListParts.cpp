/* The lists of texts in the document. */

#include "Display.h"
#include "Part.h"
#include "PrivacyStore.h"
#include "TextLists.h"
#include "ToolError.h"

#include <algorithm>
#include <fmt/format.h>
#include <memory>
#include <wdltcfg/status.h>

namespace wdlt {
namespace {

class TextListPart : public Part {
  public:
    TextListPart(const TextList& list, DocumentPath path, std::uint32_t type)
        : Part(std::move(path), list.help), m_list(list), m_type(type) {}

    Json read() const override {
        Json state = Json::array();
        for (const std::string& text : readTextList(m_list, m_type)) {
            if (!isCodePageText(text))
                throw ToolError(ExitStatus::Unknown, fmt::format("{}: {} isn't text of the system code page",
                                                                 pathText(path()), displayNarrow(text)));
            state.push_back(utf8FromNarrow(text));
        }
        return state;
    }

    Json wanted(const Json& given, const Json& now, Complaints& complaints) const override {
        Json wanted = Json::array();
        if (given.is_null() || given == now)
            return given.is_null() ? wanted : now;
        if (!given.is_array()) {
            complaints.add(path(), "a list of texts is needed");
            return now;
        }
        if (given.size() > m_list.mostEntries)
            complaints.add(path(), fmt::format("{} entries, at most {}", given.size(), m_list.mostEntries));
        for (std::size_t i = 0; i < given.size(); ++i) {
            const DocumentPath place = below(path(), fmt::format("{}", i));
            if (std::ranges::find(now, given[i]) != now.end())
                wanted.push_back(given[i]); // what is there stays, even where add wouldn't take it
            else if (!given[i].is_string())
                complaints.add(place, "a text is needed");
            else
                complaints.collect(place, [&] {
                    wanted.push_back(utf8FromNarrow(storedText(m_list, given[i].get<std::string>(), m_list.noun)));
                });
        }
        return wanted;
    }

    void check(const Json& wanted, bool isForced, Complaints& complaints) const override {
        if (m_list.lookBeforeWrite != nullptr)
            m_list.lookBeforeWrite(isForced);
        if (m_list.limitInStore != nullptr && wanted.size() > m_list.limitInStore())
            complaints.add(path(), fmt::format("{} entries, at most {}", wanted.size(), m_list.limitInStore()));
    }

    std::int32_t write(const Json&, const Json& wanted) const override {
        Texts texts;
        for (const Json& entry : wanted)
            narrowFromUtf8(entry.get_ref<const std::string&>(), texts.emplace_back());
        writeTextList(m_list, m_type, texts);
        return WDLT_OK;
    }

    Json schema() const override {
        Json entry = {{"type", "string"}, {"minLength", 1}};
        Json list = {{"type", "array"}, {"items", std::move(entry)}};
        if (m_list.limitInStore == nullptr)
            list["maxItems"] = m_list.mostEntries;
        return schemaOf(std::move(list));
    }

  private:
    const TextList& m_list;
    const std::uint32_t m_type;
};

} // namespace

void addTextListParts(std::vector<const Part*>& parts) {
    static std::vector<std::unique_ptr<const Part>> all;
    const auto add = [&](const TextList& list, DocumentPath path, std::uint32_t type) {
        parts.push_back(all.emplace_back(std::make_unique<TextListPart>(list, std::move(path), type)).get());
    };
    for (const TextList& list : allTextLists()) {
        const DocumentPath path = {"lists", std::string(list.name)};
        if (list.types.empty())
            add(list, path, 0);
        for (std::uint32_t type = 0; type < list.types.size(); ++type)
            add(list, below(path, std::string(list.types[type])), type);
    }
}

} // namespace wdlt
