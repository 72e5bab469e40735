/* The parts of the document that dump prints and load takes: one for each record, feature and list. A state of a part is
   a JSON value with every secret in it, as the library reads it. Objects are compared by their members' names, arrays as
   lists of texts. */
#pragma once

#include "Json.h"

#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace wdlt {

/* A place in the document: {"lists", "urls", "black"}. */
using DocumentPath = std::vector<std::string>;
inline const DocumentPath kHandlerPath = {"records", "handler"};

/* As users see it: without "records", and a name in quotes where it isn't a plain word. */
std::string pathText(const DocumentPath& path);
DocumentPath below(DocumentPath path, std::string name);

/* Whatever the order of an object's members. */
bool isSame(const Json& a, const Json& b);

/* What is wrong with a document, each with its path, so that the user sees all of it at once. */
class Complaints {
  public:
    void add(const DocumentPath& path, std::string_view words);
    /* Runs `body`, and adds the usage error that it throws. */
    void collect(const DocumentPath& path, const std::function<void()>& body);
    /* A usage error with all of them, if there are any; it begins with the name of what they are about. */
    void throwIfAny(const std::string& name = {}) const;

  private:
    std::vector<std::string> m_all;
};

class Part {
  public:
    Part(DocumentPath path, std::string help) : m_path(std::move(path)), m_help(std::move(help)) {}
    virtual ~Part() = default;
    Part(const Part&) = delete;
    Part& operator=(const Part&) = delete;

    const DocumentPath& path() const { return m_path; }

    /* The state; null where this installation has no such thing. A ToolError when it can't be told. */
    virtual Json read() const = 0;
    /* The state that a document asks for with `given`, where `now` is the state: what it leaves out stays. Needs no
       home. */
    virtual Json wanted(const Json& given, const Json& now, Complaints& complaints) const = 0;
    /* Whether this installation can have that state. A complaint, or a ToolError where a write would lose something,
       unless `isForced`. */
    virtual void check(const Json& wanted, bool isForced, Complaints& complaints) const;
    /* Returns the library's status; other failures are ToolErrors. */
    virtual std::int32_t write(const Json& now, const Json& wanted) const = 0;
    virtual Json schema() const = 0;
    /* Whether a killed write may leave something else behind than read tells. */
    virtual bool isStoredTwice() const { return false; }
    /* Whether that is a secret; `inside` is the place within the part. */
    virtual bool isSecret(std::span<const std::string> inside) const;

  protected:
    /* A schema of that type or of null, described. */
    Json schemaOf(Json type) const;

  private:
    DocumentPath m_path;
    std::string m_help;
};

/* In the document's order. */
std::span<const Part* const> allParts();

/* The families of parts, each in a file of its own. Owned for as long as the program runs. */
void addRecordParts(std::vector<const Part*>& parts);
void addFeatureParts(std::vector<const Part*>& parts);
void addTextListParts(std::vector<const Part*>& parts);
const Part* redirectPart();
const Part* rulePart();
const Part* itemPart();

/* Names the given member of an object that there may be; unknown ones are complaints. Nothing for another type than an
   object, which is a complaint too. */
void eachMember(const Json& given, const DocumentPath& path, const std::vector<std::string>& known,
                Complaints& complaints, const std::function<void(const std::string& name, const Json& value)>& take);

} // namespace wdlt
