/* The charset that the texts of privacy items are stored in, and these texts from and to UTF-8. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace wdlt {

class ItemCharset {
  public:
    /* One bit of charsets.h; a ToolError for anything else. */
    explicit ItemCharset(std::uint32_t charset);

    const char* name() const;
    /* Nothing for a text that the charset can't hold, or that isn't valid. A ToolError when there is no converter. */
    std::optional<std::string> fromUtf8(const std::string& text) const;
    std::optional<std::string> toUtf8(const std::string& text) const;

  private:
    std::uint32_t m_charset;
};

} // namespace wdlt
