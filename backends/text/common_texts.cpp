#include "backends/text/common_texts.h"

#include <algorithm>
#include <string_view>

namespace halden {
namespace {

/// A text of the forms in both languages, UTF-8.
struct TextRow {
  std::uint32_t id;
  const char* english;
  const char* russian;
};

constexpr TextRow kTexts[] = {
#define TEXT_ROW(id, english, russian) {id, english, russian},
#include "backends/text/text_table.inc"
#undef TEXT_ROW
};

/// A Win32 error code with the system's message.
struct Sentence {
  std::uint32_t code;
  const char* text;
};

// The codes that the registry's backends return, and their neighbours. An unknown code has no message.
constexpr Sentence kSentences[] = {
    {0, "The operation completed successfully."},
    {1, "Incorrect function."},
    {2, "The system cannot find the file specified."},
    {3, "The system cannot find the path specified."},
    {4, "The system cannot open the file."},
    {5, "Access is denied."},
    {6, "The handle is invalid."},
    {8, "Not enough memory resources are available to process this command."},
    {14, "Not enough memory resources are available to complete this operation."},
    {19, "The media is write protected."},
    {29, "The system cannot write to the specified device."},
    {30, "The system cannot read from the specified device."},
    {32, "The process cannot access the file because it is being used by another process."},
    {87, "The parameter is incorrect."},
    {112, "There is not enough space on the disk."},
    {122, "The data area passed to a system call is too small."},
    {161, "The specified path is invalid."},
    {183, "Cannot create a file when that file already exists."},
    {234, "More data is available."},
    {259, "No more data is available."},
    {1009, "The configuration registry database is corrupt."},
    {1010, "The configuration registry key is invalid."},
    {1011, "The configuration registry key could not be opened."},
    {1012, "The configuration registry key could not be read."},
    {1013, "The configuration registry key could not be written."},
    {1018, "Illegal operation attempted on a registry key that has been marked for deletion."},
};

/// With the line break that the system appends to its messages.
std::optional<std::string> SystemSentence(std::uint32_t code) {
  for (const Sentence& sentence : kSentences)
    if (sentence.code == code) return std::string(sentence.text) + "\r\n";
  return std::nullopt;
}

bool IsDigit(char c) {
  return c >= '0' && c <= '9';
}

constexpr std::uint32_t kArguments = 5;  // the callers pass no more

/// Removes the directive at the front of `rest`, whose "%" has been removed already, and appends its text.
/// False for a directive or an argument that doesn't exist. %0 drops everything after it.
bool AppendDirective(std::string_view& rest, const char* const* arguments, std::string& text) {
  if (rest.empty()) return false;
  const char first = rest.front();
  rest.remove_prefix(1);
  if (!IsDigit(first)) {
    text += first == 'n' ? "\r\n" : first == 'r' ? "\r" : std::string(1, first);
    return true;
  }
  if (first == '0') {
    rest = {};
    return true;
  }
  const auto number = static_cast<std::uint32_t>(first - '0');
  const bool in_range = number <= kArguments && (rest.empty() || !IsDigit(rest.front()));
  if (!in_range || !arguments || !arguments[number - 1]) return false;
  text += arguments[number - 1];
  return true;
}

/// "%1 is not a number%n" with "x" -> "x is not a number\r\n"
std::optional<std::string> FillIn(std::string_view source, const char* const* arguments) {
  std::string text;
  while (!source.empty()) {
    const std::size_t percent = std::min(source.find('%'), source.size());
    text += source.substr(0, percent);
    source.remove_prefix(percent);
    if (source.empty()) break;
    source.remove_prefix(1);
    if (!AppendDirective(source, arguments, text)) return std::nullopt;
  }
  return text;
}

}  // namespace

std::optional<std::string> CommonTexts::LoadText(std::uint32_t id) {
  for (const TextRow& row : kTexts)
    if (row.id == id) return language_ == TextLanguage::kRussian ? row.russian : row.english;
  return std::nullopt;
}

std::uint32_t CommonTexts::FormatMessageA(std::uint32_t flags, const char* source, std::uint32_t id,
                                          std::uint32_t, char* buffer, std::uint32_t capacity,
                                          const char* const* arguments) {
  std::optional<std::string> text;
  if (flags == (FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS)) text = SystemSentence(id);
  if (flags == (FORMAT_MESSAGE_FROM_STRING | FORMAT_MESSAGE_ARGUMENT_ARRAY) && source)
    text = FillIn(source, arguments);
  if (!text || text->size() >= capacity) return 0;
  const std::size_t length = text->copy(buffer, capacity - 1);
  buffer[length] = '\0';
  return static_cast<std::uint32_t>(length);
}

ComponentVersion CommonTexts::Version() {
  return {HALDEN_VERSION_MAJOR, HALDEN_VERSION_MINOR, HALDEN_VERSION_PATCH};
}

}  // namespace halden
