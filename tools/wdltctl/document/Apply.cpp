#include "Apply.h"

#include "Features.h"
#include "Handlers.h"
#include "LibraryStatus.h"
#include "RunTool.h"
#include "ToolError.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>
#include <set>
#include <wdltcfg/status.h>

namespace wdlt {
namespace {

const Part* partAt(const DocumentPath& path) {
    return *std::ranges::find(allParts(), path, &Part::path);
}

int rankOf(const Part* part) {
    if (part->path() == kHandlerPath)
        return 3;
    return part->path().front() == "records" ? 0 : part->path().front() == "lists" ? 1 : 2;
}

/* The switch of one of a feature's places in a state. */
bool isOnIn(const Json& state, const Feature& feature, const FeatureItem& place) {
    const Json* const found = at(state, {"features", std::string(feature.name)});
    if (found == nullptr)
        return false;
    return found->is_object() ? found->value(std::string(place.protocolName), false) : *found == true;
}

/* Null says something of all that is in it. */
bool mentions(const Json& document, const DocumentPath& path) {
    const Json* found = &document;
    for (const std::string& name : path) {
        if (!found->is_object() || !found->contains(name))
            return found->is_null();
        found = &(*found)[name];
    }
    return true;
}

class ConsequenceFinder {
  public:
    ConsequenceFinder(Layers layers, const Json& now, Wanted& wanted)
        : m_layers(layers), m_now(now), m_wanted(wanted) {}

    void find() {
        for (const Feature& feature : allFeatures())
            if (feature.needsWeb && goesOn(feature))
                for (const char* const needed : {"urlf", "plugin-manager"})
                    set({"features", needed}, true);
        for (const Handler& handler : allHandlers())
            findFor(handler);
        // Writes of some records switch features, and those switch handlers: what the documents leave out stays as it
        // is.
        for (const Part* part : allParts())
            if (part->path().front() == "features" || part->path() == kHandlerPath)
                means(part->path());
    }

  private:
    bool goesOn(const Feature& feature) const {
        const DocumentPath path = {"features", std::string(feature.name)};
        const Json* const before = at(m_now, path);
        const Json* const after = at(m_wanted.state, path);
        return before != nullptr && after != nullptr && *before != true && *after == true;
    }

    /* A handler goes on with any item, and off with the last. */
    void findFor(const Handler& handler) {
        std::set<std::string> items;
        for (const std::string& name : itemsThatAreOn(handler, kDecidingItems))
            items.insert(name);
        bool goesOn = false;
        bool goesOff = false;
        for (const Feature& feature : allFeatures())
            for (const FeatureItem& place : feature.places) {
                const bool before = isOnIn(m_now, feature, place);
                const bool after = isOnIn(m_wanted.state, feature, place);
                if (place.protocol != handler.head.type || before == after)
                    continue;
                goesOn = goesOn || after;
                goesOff = goesOff || !after;
                if (after)
                    items.insert(itemName(place.scan, place.input));
                else
                    items.erase(itemName(place.scan, place.input));
            }
        if (goesOn || (goesOff && items.empty()))
            set(below(below(kHandlerPath, handler.name()), "enable"), goesOn ? 1 : 0);
    }

    void set(const DocumentPath& path, const Json& value) {
        const Json* const after = at(m_wanted.state, path);
        if (after == nullptr || *after == value || isMentioned(path))
            return;
        put(m_wanted.state, path, &value);
    }

    bool isMentioned(const DocumentPath& path) const {
        return std::ranges::any_of(m_layers, [&](const Layer& each) { return mentions(*each.document, path); });
    }

    void means(const DocumentPath& path) {
        const Part* const part = partAt(path);
        if (at(m_wanted.state, path) != nullptr && std::ranges::find(m_wanted.parts, part) == m_wanted.parts.end())
            m_wanted.parts.push_back(part);
    }

    const Layers m_layers;
    const Json& m_now;
    Wanted& m_wanted;
};

class Application {
  public:
    Application(const Wanted& wanted, const Json& before, bool keepsGoing)
        : m_wanted(wanted), m_before(before), m_keepsGoing(keepsGoing) {}

    /* False when it is to end. */
    bool write(const Part& part, const Json& now, const Json& wanted) {
        const std::string where = pathText(part.path());
        m_result.tried.push_back(&part);
        try {
            const std::int32_t status = part.write(now, wanted);
            if (status == WDLT_E_NO_ANSWER)
                m_result.untold.push_back(where);
            else
                checkStatus(status, where);
        } catch (const ToolError& error) {
            if (error.status() == ExitStatus::Untold)
                m_result.untold.push_back(where);
            else
                return fail(where, error.what());
        } catch (const Json::exception&) { // a journal may be another version's
            return fail(where, "not a state of this version's");
        } catch (const std::bad_optional_access&) {
            return fail(where, "not a state of this version's");
        }
        return true;
    }

    bool fail(const std::string& where, const std::string& why) {
        if (m_failed.insert(where).second)
            m_result.failures.push_back(fmt::format("{}: {}", where, why));
        return m_keepsGoing;
    }

    /* A switch, or a directory, may change what was written before it: whatever isn't so yet is written again, once, and
       what can't be read yet is looked at again. */
    Applied run(const std::vector<const Part*>& parts) {
        bool isDone = false;
        for (int round = 0; round < kRounds && !isDone; ++round) {
            isDone = true;
            for (const Part* part : parts) {
                const Json* const wanted = at(m_wanted.state, part->path());
                const Json* const before = at(m_before, part->path());
                if (wanted == nullptr || m_failed.contains(pathText(part->path())) ||
                    (round == 0 && before != nullptr && isSame(*before, *wanted)))
                    continue;
                if (const auto goesOn = bring(*part, *wanted, round)) {
                    isDone = false;
                    if (!*goesOn)
                        return m_result;
                }
            }
        }
        return m_result;
    }

  private:
    static constexpr int kRounds = 3;

    /* Nothing where it is so already; false when the application is to end. */
    std::optional<bool> bring(const Part& part, const Json& wanted, int round) {
        const std::string where = pathText(part.path());
        const bool isLast = round + 1 == kRounds;
        Json now;
        try {
            now = part.read();
        } catch (const ToolError& error) {
            return isLast ? fail(where, error.what()) : true;
        }
        const bool isAnew = round == 0 && std::ranges::find(m_wanted.anew, &part) != m_wanted.anew.end();
        if (isSame(now, wanted) && !isAnew)
            return std::nullopt;
        return isLast ? fail(where, "it doesn't stay as it is stored") : write(part, now, wanted);
    }

    const Wanted& m_wanted;
    const Json& m_before;
    const bool m_keepsGoing;
    std::set<std::string> m_failed;
    Applied m_result;
};

} // namespace

void addConsequences(Layers layers, const Json& now, Wanted& wanted) {
    ConsequenceFinder(layers, now, wanted).find();
    const DocumentPath install = {"records", "system", "install-path"};
    if (at(now, install) != nullptr && !isSame(*at(now, install), *at(wanted.state, install)))
        printRemark(
            fmt::format("{} changes: lists that the document leaves out stay in the old directory", pathText(install)));
}

void checkParts(const Wanted& wanted, const Json& now, bool isForced) {
    Complaints complaints;
    for (const Part* part : wanted.parts) {
        const Json& asked = *at(wanted.state, part->path());
        if (const Json* const state = at(now, part->path()); state == nullptr || !isSame(*state, asked))
            part->check(asked, isForced, complaints);
    }
    complaints.throwIfAny();
}

Applied apply(const Wanted& wanted, const Json& now, bool keepsGoing) {
    std::vector<const Part*> ordered = wanted.parts;
    std::ranges::stable_sort(ordered, {}, rankOf);
    return Application(wanted, now, keepsGoing).run(ordered);
}

} // namespace wdlt
