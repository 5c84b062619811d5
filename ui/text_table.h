#pragma once

#include <cstdint>
#include <string>

#include "platform/number_rules.h"
#include "platform/text_resources.h"
#include "platform/toolkit.h"

namespace halden {

/// Identifiers of the texts that the forms use. The numbers are those of the resources on Windows.
enum TextId : std::int32_t {
  kTextCancel = 21,
  kTextClose = 24,
  kTextSetup = 50,
  kTextChannels = 71,
  kTextRate = 72,
  kTextSelectPort = 200,
  kTextProperties = 201,
};

/// Loads texts and fills in their arguments. All strings are UTF-8. The system's formatter works in the ANSI
/// code page, so a character that isn't in that code page becomes "?".
class TextTable {
 public:
  /// Both arguments must outlive the table.
  TextTable(TextResources& texts, const NumberRules& rules) : texts_(texts), rules_(rules) {}

  /// Returns the text of `id` with its arguments filled in; empty if there is no such text.
  std::string LoadResFormat(std::int32_t id, const std::string& a1, const std::string& a2 = {},
                            const std::string& a3 = {}) const;
  /// Returns `text` with %1 to %5 replaced by the arguments. If the formatter fails, for example because the
  /// result is too long, returns `text` without its "%" signs.
  std::string FormatResText(const std::string& text, const std::string& a1, const std::string& a2,
                            const std::string& a3, const std::string& a4, const std::string& a5) const;

 private:
  TextResources& texts_;
  const NumberRules& rules_;
};

/// On a Russian system, gives the fonts of the form and of its controls the Cyrillic character set. Does
/// nothing if the form's font has it already. Skips fonts that are missing or can't be set.
void SetFormCharset(Window& form, TextResources& texts);

}  // namespace halden
