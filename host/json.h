#pragma once

#include <string>
#include <string_view>

namespace halden::host {

std::string JsonString(std::string_view utf8);

/// Builds an object member by member. `Raw` takes text that is JSON already.
class JsonObject {
 public:
  JsonObject& Raw(std::string_view name, std::string_view json);
  JsonObject& Text(std::string_view name, std::string_view utf8) { return Raw(name, JsonString(utf8)); }
  JsonObject& Flag(std::string_view name, bool value) { return Raw(name, value ? "true" : "false"); }
  std::string Close() const { return text_ + "}"; }

 private:
  std::string text_ = "{";
};

}  // namespace halden::host
