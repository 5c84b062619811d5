#include "host/json.h"

#include <cstdio>

#include "backends/text/characters.h"

namespace halden::host {

std::string JsonString(std::string_view utf8) {
  std::string text = "\"";
  for (const char c : EncodeUtf8(DecodeUtf8(utf8))) {  // a malformed byte, as a path may have, is no JSON
    if (c == '"' || c == '\\') {
      text += '\\';
      text += c;
    } else if (static_cast<unsigned char>(c) < 0x20) {
      char escape[8];
      std::snprintf(escape, sizeof escape, "\\u%04x", static_cast<unsigned>(c));
      text += escape;
    } else {
      text += c;
    }
  }
  return text + "\"";
}

JsonObject& JsonObject::Raw(std::string_view name, std::string_view json) {
  if (text_.size() > 1) text_ += ", ";
  text_ += JsonString(name) + ": " + std::string(json);
  return *this;
}

}  // namespace halden::host
