#include "Console.h"

#include <fmt/format.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <nlohmann/json.hpp>

#include "TollbrookCore/Support/Text.h"

namespace tollbrook::cli::Console {
namespace {

bool coloursWanted() {
  static const bool wanted = [] {
    const char* refused = std::getenv("NO_COLOR");
    return isatty(STDOUT_FILENO) != 0 && (refused == nullptr || *refused == '\0');
  }();
  return wanted;
}

// The first error of standard output; printing goes on, since the work does not depend on who reads of it.
int outputError = 0;

void put(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size() && outputError == 0)
    outputError = errno;
}

}  // namespace

void print(std::string_view line) {
  put(line);
  put("\n");
}

void printDocument(const nlohmann::ordered_json& document) { print(document.dump(1)); }

void complain(std::string_view line) { tell(fmt::format("tollbrook-cli: {}\n", line)); }

void tell(std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stderr);
  std::fflush(stderr);
}

bool flush() {
  if (std::fflush(stdout) != 0 && outputError == 0) outputError = errno;
  if (outputError == 0 || outputError == EPIPE) return true;
  complain(fmt::format("cannot write to standard output: {}", std::strerror(outputError)));
  return false;
}

std::string shown(const std::filesystem::path& name) {
  const std::string text = Text::replacingInvalidUtf8(name.native());
  std::string result;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = [&](std::size_t index) {
      return index < text.size() ? static_cast<unsigned char>(text[index]) : 0u;
    };
    if (text[at] == '\n') {
      result += "\\n";
    } else if (byte(at) < 0x20 || byte(at) == 0x7f) {
      result += fmt::format("\\x{:02x}", byte(at));
    } else if (byte(at) == 0xc2 && byte(at + 1) < 0xa0) {
      // U+0080 to U+009F: terminals take U+009B for the beginning of a command.
      result += fmt::format("\\u{:04x}", byte(++at));
    } else {
      result += text[at];
    }
  }
  return result;
}

std::string coloured(std::string_view text, Colour colour) {
  if (!coloursWanted()) return std::string(text);
  constexpr int green = 32, yellow = 33, red = 31, faint = 2;
  int code = faint;
  if (colour == Colour::green) code = green;
  if (colour == Colour::yellow) code = yellow;
  if (colour == Colour::red) code = red;
  return fmt::format("\x1b[{}m{}\x1b[0m", code, text);
}

bool errorIsTerminal() {
  static const bool terminal = isatty(STDERR_FILENO) != 0;
  return terminal;
}

std::size_t errorWidth() {
  winsize size{};
  constexpr std::size_t usual = 80;
  return ioctl(STDERR_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : usual;
}

std::string_view cut(std::string_view text, std::size_t columns) {
  std::mbstate_t state{};
  std::size_t used = 0;
  for (std::size_t at = 0; at < text.size();) {
    wchar_t character = 0;
    std::size_t length = std::mbrtowc(&character, text.data() + at, text.size() - at, &state);
    int width = 1;
    if (length == 0 || length > text.size()) {
      length = 1;
      state = {};
    } else {
      width = std::max(0, wcwidth(character));
    }
    if (used + static_cast<std::size_t>(width) > columns) return text.substr(0, at);
    used += static_cast<std::size_t>(width);
    at += length;
  }
  return text;
}

}  // namespace tollbrook::cli::Console
