// SPDX-License-Identifier: MIT
#include "text.h"

#include <langinfo.h>
#include <wchar.h>

#include <algorithm>
#include <clocale>
#include <cstring>

namespace tarni::cli {
namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr std::string_view kReplacementUtf8 = "\xEF\xBF\xBD";
constexpr std::string_view kEllipsis = "\xE2\x80\xA6";

struct Range {
  char32_t first;
  char32_t last;
};

// Control characters, and the format characters with which a name can pose as
// another or reorder the line that it stands in.
constexpr Range kUnprintable[] = {
    {0x00, 0x1F},     {0x7F, 0x9F},     {0xAD, 0xAD},       {0x61C, 0x61C},   {0x180E, 0x180E},
    {0x200B, 0x200B}, {0x200E, 0x200F}, {0x2028, 0x202E},   {0x2060, 0x206F}, {0xFEFF, 0xFEFF},
    {0xFFF9, 0xFFFB}, {0xFFFE, 0xFFFF}, {0xE0000, 0xE0FFF},
};

struct Character {
  char32_t code;
  std::size_t bytes;
};

constexpr Character kMalformed{kReplacement, 1};

std::size_t sequence_length(unsigned char lead) {
  if (lead < 0x80) return 1;
  if (lead >= 0xC2 && lead < 0xE0) return 2;
  if (lead >= 0xE0 && lead < 0xF0) return 3;
  if (lead >= 0xF0 && lead < 0xF5) return 4;
  return 0;
}

// Whether a character of this code needs that many bytes, and may exist at all.
bool well_formed(char32_t code, std::size_t length) {
  constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
  const bool surrogate = code >= 0xD800 && code <= 0xDFFF;
  return code >= kLeast[length] && code <= 0x10FFFF && !surrogate;
}

// Decodes the first character of text that is not empty.
Character first_character(std::string_view text) {
  const auto lead = static_cast<unsigned char>(text[0]);
  const std::size_t length = sequence_length(lead);
  if (length == 1) return {lead, 1};
  if (length == 0 || length > text.size()) return kMalformed;
  char32_t code = lead & (0x7Fu >> length);
  for (std::size_t i = 1; i < length; ++i) {
    const auto byte = static_cast<unsigned char>(text[i]);
    if ((byte & 0xC0u) != 0x80u) return kMalformed;
    code = (code << 6) | (byte & 0x3Fu);
  }
  return well_formed(code, length) ? Character{code, length} : kMalformed;
}

bool is_printable(char32_t code) {
  return std::none_of(std::begin(kUnprintable), std::end(kUnprintable), [code](const Range& range) {
    return code >= range.first && code <= range.last;
  });
}

std::string cleaned(std::string_view bytes, std::string_view kept) {
  std::string text;
  while (!bytes.empty()) {
    const Character next = first_character(bytes);
    const bool keep = is_printable(next.code) || kept.find(bytes[0]) != std::string_view::npos;
    // A malformed byte decodes to the replacement without being one.
    const bool malformed = next.code == kReplacement && next.bytes == 1;
    text += keep && !malformed ? bytes.substr(0, next.bytes) : kReplacementUtf8;
    bytes.remove_prefix(next.bytes);
  }
  return text;
}

std::size_t character_width(char32_t code) {
  const int width = wcwidth(static_cast<wchar_t>(code));
  return width < 0 ? 1 : static_cast<std::size_t>(width);
}

}  // namespace

std::string printable(std::string_view bytes) {
  return cleaned(bytes, "");
}

std::string printable_lines(std::string_view bytes) {
  return cleaned(bytes, "\n\t");
}

std::size_t display_width(std::string_view text) {
  std::size_t width = 0;
  while (!text.empty()) {
    const Character next = first_character(text);
    width += character_width(next.code);
    text.remove_prefix(next.bytes);
  }
  return width;
}

std::string cut_to_width(std::string_view text, std::size_t width) {
  if (display_width(text) <= width) return std::string(text);
  std::size_t used = 1;  // the ellipsis
  std::size_t bytes = 0;
  while (bytes < text.size()) {
    const Character next = first_character(text.substr(bytes));
    used += character_width(next.code);
    if (used > width) break;
    bytes += next.bytes;
  }
  return std::string(text.substr(0, bytes)) + std::string(kEllipsis);
}

bool set_up_locale() {
  static_cast<void>(std::setlocale(LC_CTYPE, ""));
  if (std::strcmp(nl_langinfo(CODESET), "UTF-8") == 0) return true;
  // Devices speak UTF-8 in any locale; this one tells how wide their text is.
  static_cast<void>(std::setlocale(LC_CTYPE, "C.UTF-8"));
  return false;
}

}  // namespace tarni::cli
