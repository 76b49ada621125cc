// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarni::cli {

// Text from a device or a user, made safe for a terminal: UTF-8 in which each
// malformed byte and each character that can move the cursor, end the line or
// turn the direction of writing has become U+FFFD.
std::string printable(std::string_view bytes);

// The same for text of several lines: keeps line feeds and tabs.
std::string printable_lines(std::string_view bytes);

// Terminal columns that printable text takes.
std::size_t display_width(std::string_view text);

// Cuts printable text to a number of columns, with an ellipsis where it was cut.
std::string cut_to_width(std::string_view text, std::size_t width);

// Whether the user's locale is UTF-8. Called once, before any other thread runs.
bool set_up_locale();

}  // namespace tarni::cli
