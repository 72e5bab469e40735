// An ordered list of short texts and its one-line form: fields separated by commas, a quote doubled, a field with a
// comma in it enclosed in quotes. Nothing is trimmed. An empty text is an empty list, so a list of one empty field
// doesn't survive the round trip.
#pragma once

#include <string>
#include <string_view>
#include <vector>

class CCsv {
  public:
    CCsv() = default;
    explicit CCsv(std::string_view text);
    virtual ~CCsv() = default;
    CCsv(const CCsv&) = delete;
    CCsv& operator=(const CCsv&) = delete;

    const std::vector<std::string>& fields() const { return m_fields; }
    void add(std::string_view field) { m_fields.emplace_back(field); }
    std::string text() const;

  private:
    std::vector<std::string> m_fields;
};
