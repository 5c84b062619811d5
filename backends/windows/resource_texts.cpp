#include "backends/windows/resource_texts.h"

#include <cstring>
#include <windows.h>

#include "backends/windows/wide_text.h"

namespace halden {
namespace {

const wchar_t* const kVersionType = MAKEINTRESOURCEW(16);

}  // namespace

std::optional<std::string> ResourceTexts::LoadText(std::uint32_t id) {
  const wchar_t* text = nullptr;  // with no room for a copy the resource itself is told
  const int length = LoadStringW(static_cast<HINSTANCE>(module_), id, reinterpret_cast<wchar_t*>(&text), 0);
  if (length <= 0) return std::nullopt;
  return Utf8Text({text, static_cast<std::size_t>(length)});
}

std::uint16_t ResourceTexts::GetSystemDefaultLangID() {
  return ::GetSystemDefaultLangID();
}

std::uint32_t ResourceTexts::FormatMessageA(std::uint32_t flags, const char* source, std::uint32_t id,
                                            std::uint32_t language, char* buffer, std::uint32_t capacity,
                                            const char* const* arguments) {
  return ::FormatMessageA(flags, source, id, language, buffer, capacity,
                          reinterpret_cast<va_list*>(const_cast<char**>(arguments)));
}

ComponentVersion ResourceTexts::Version() {
  const auto module = static_cast<HINSTANCE>(module_);
  const HRSRC place = FindResourceW(module, MAKEINTRESOURCEW(VS_VERSION_INFO), kVersionType);
  const void* const block = place ? LockResource(LoadResource(module, place)) : nullptr;
  constexpr std::size_t kFixedPart = 40;  // behind three 16-bit numbers and the block's name
  VS_FIXEDFILEINFO fixed{};
  if (!block || SizeofResource(module, place) < kFixedPart + sizeof fixed) return {};
  std::memcpy(&fixed, static_cast<const char*>(block) + kFixedPart, sizeof fixed);
  return {HIWORD(fixed.dwFileVersionMS), LOWORD(fixed.dwFileVersionMS), LOWORD(fixed.dwFileVersionLS)};
}

}  // namespace halden
