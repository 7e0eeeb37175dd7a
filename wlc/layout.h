// How wlc lays out what a person reads: at most 80 columns, the width of a new terminal, where a
// blank allows it. Driver commands and messages are never broken.
//
//       status   -1, failed; the driver's state matches its answers        0.17 ms
//       warning  [ApplyWpaCliLinkConfiguration:59] Unable to execute wpa driver
//                command to set xr mode ratemask.
#pragma once

#include <fmt/color.h>

#include <cstdio>
#include <string>

inline constexpr fmt::text_style kPlain{};
inline constexpr fmt::text_style kBold = fmt::emphasis::bold;
inline constexpr fmt::text_style kFaint = fmt::emphasis::faint;
inline constexpr fmt::text_style kGood = fmt::fg(fmt::terminal_color::green);
inline constexpr fmt::text_style kBad = fmt::fg(fmt::terminal_color::red);
inline constexpr fmt::text_style kWarn = fmt::fg(fmt::terminal_color::yellow);

constexpr size_t kColumns = 80;
constexpr size_t kTextColumn = 15;  // where the text of a labelled line begins

// Colour when `stream` is a terminal only, and none with NO_COLOR in the environment.
std::string Painted(std::FILE* stream, fmt::text_style style, const std::string& text);

// `text`, which is printable, in lines that fit behind `indent` columns. Those after the first are
// indented.
std::string Wrapped(std::string text, size_t indent);

// A line "      LABEL    TEXT" without its end.
std::string Labelled(std::FILE* stream, std::string_view label, fmt::text_style style,
                     const std::string& text);
