#pragma once

#include <cstddef>
#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

/// What a person sees: standard output for results, standard error for everything else.
namespace tollbrook::cli::Console {

/// One line on standard output.
void print(std::string_view line);
/// One JSON document on standard output.
void printDocument(const nlohmann::ordered_json& document);
/// One line on standard error, behind the program's name.
void complain(std::string_view line);

/// Text on standard error as it stands. Nobody to hear it is no error: the work does not depend on it.
void tell(std::string_view text);

/// Forces out what was printed. False, after saying so, when it could not be written; a reader who went away
/// is no error.
bool flush();

/// A name or path as one line that moves no cursor: control characters escaped, bytes that are no UTF-8
/// replaced.
std::string shown(const std::filesystem::path& name);

/// `text` in a status colour where standard output is a terminal and NO_COLOR is not set.
enum class Colour { green, yellow, red, faint };
std::string coloured(std::string_view text, Colour colour);

bool errorIsTerminal();
/// Columns of the terminal on standard error.
std::size_t errorWidth();
/// The beginning of `text` that fits into so many columns.
std::string_view cut(std::string_view text, std::size_t columns);

}  // namespace tollbrook::cli::Console
