#include "TollbrookCore/SidecarNames.h"

#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

#include "TollbrookCore/Support/Text.h"
#include "TollbrookCore/Support/Utf8.h"

namespace tollbrook::SidecarMatcher {
namespace Names {
namespace {

/// The code points that end a line (Unicode Technical Standard #18, 1.6), as a text's bytes. A leading byte
/// never stands inside another code point, so plain byte search finds them.
constexpr std::string_view asciiLineBreaks = "\n\v\f\r";
constexpr std::array<std::string_view, 3> wideLineBreaks{"\u0085", "\u2028", "\u2029"};

bool holdsLineBreak(std::string_view text) {
  if (text.find_first_of(asciiLineBreaks) != std::string_view::npos) return true;
  if (Text::isAscii(text)) return false;
  return std::any_of(wideLineBreaks.begin(), wideLineBreaks.end(),
                     [&](std::string_view lineBreak) { return text.find(lineBreak) != text.npos; });
}

/// Bytes of the line break that ends the text, 0 when none does.
std::size_t finalLineBreak(std::string_view text) {
  if (text.ends_with("\r\n")) return 2;
  if (!text.empty() && asciiLineBreaks.find(text.back()) != std::string_view::npos) return 1;
  for (const std::string_view lineBreak : wideLineBreaks) {
    if (text.ends_with(lineBreak)) return lineBreak.size();
  }
  return 0;
}

/// `text` without the decimal digits, of any script, at its end.
std::string_view withoutDigits(std::string_view text) {
  while (!text.empty()) {
    const Utf8::CodePoint last = Utf8::decodeLast(text);
    if (!u_isdigit(static_cast<UChar32>(last.value))) break;
    text.remove_suffix(last.size);
  }
  return text;
}

/// What stands before "(12)" at the end of `text`, and the digits.
std::optional<std::pair<std::string_view, std::string_view>> splitCounter(std::string_view text) {
  if (!text.ends_with(')')) return std::nullopt;
  text.remove_suffix(1);
  std::string_view rest = withoutDigits(text);
  const std::string_view digits = text.substr(rest.size());
  if (digits.empty() || !rest.ends_with('(')) return std::nullopt;
  rest.remove_suffix(1);
  return std::pair(rest, digits);
}

/// The lower-case ASCII text that a code point matches in any case; the bytes of no letter when none.
/// Full case folding (Unicode Standard, 3.13) of the two code points outside ASCII that matter here.
std::string_view foldedAscii(char32_t c) {
  static constexpr std::string_view letters = "abcdefghijklmnopqrstuvwxyz";
  constexpr char32_t kelvinSign = 0x212A;
  constexpr char32_t ligatureFi = 0xFB01;
  if (c >= 'a' && c <= 'z') return letters.substr(c - 'a', 1);
  if (c >= 'A' && c <= 'Z') return letters.substr(c - 'A', 1);
  if (c == '-') return "-";
  if (c == kelvinSign) return "k";
  if (c == ligatureFi) return "fi";
  return "?";
}

/// `text` without `word`, which is in lower-case ASCII, at its end in any case.
std::optional<std::string_view> withoutWord(std::string_view text, std::string_view word) {
  while (!word.empty()) {
    if (text.empty()) return std::nullopt;
    const Utf8::CodePoint last = Utf8::decodeLast(text);
    const std::string_view folded = foldedAscii(last.value);
    if (!word.ends_with(folded)) return std::nullopt;
    word.remove_suffix(folded.size());
    text.remove_suffix(last.size);
  }
  return text;
}

/// `text` without an e at its end, in any case, with or without an acute accent, composed or not.
std::optional<std::string_view> withoutFrenchE(std::string_view text) {
  constexpr std::string_view acute = "\u0301";
  for (const std::string_view composed : {"\u00e9", "\u00c9"}) {
    if (text.ends_with(composed)) return text.substr(0, text.size() - composed.size());
  }
  if (text.ends_with(acute)) text.remove_suffix(acute.size());
  return withoutWord(text, "e");
}

/// `head` without the edit marker at its end.
std::optional<std::string_view> withoutMarker(std::string_view head) {
  const std::string_view beforeDigits = withoutDigits(head);
  if (beforeDigits.size() < head.size()) {
    if (!beforeDigits.ends_with('~')) return std::nullopt;
    return beforeDigits.substr(0, beforeDigits.size() - 1);
  }
  for (const std::string_view word : {"-edited", "-edit", "-bewerkt", "-bearbeitet"}) {
    if (const auto rest = withoutWord(head, word)) return rest;
  }
  const auto beforeE = withoutFrenchE(head);
  return beforeE ? withoutWord(*beforeE, "-modifi") : std::nullopt;
}

/// `name` cut before its last dot, when something follows that dot.
std::optional<std::pair<std::string_view, std::string_view>> splitExtension(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  if (dot == std::string_view::npos || dot + 1 == name.size()) return std::nullopt;
  return std::pair(name.substr(0, dot), name.substr(dot));
}

}  // namespace

std::string_view withoutExtension(std::string_view name) {
  const std::size_t dot = name.rfind('.');
  return dot == std::string_view::npos || dot == 0 ? name : name.substr(0, dot);
}

std::optional<Duplicate> findDuplicate(std::string_view head, std::string_view extension) {
  const auto counter = splitCounter(head);
  if (!counter || holdsLineBreak(counter->first)) return std::nullopt;
  std::string_view stem = counter->first;
  if (stem.ends_with(' ')) stem.remove_suffix(1);
  return Duplicate{stem, counter->second, extension};
}

std::optional<Duplicate> findDuplicate(std::string_view name) {
  const auto parts = splitExtension(name);
  return parts ? findDuplicate(parts->first, parts->second) : std::nullopt;
}

std::optional<Edited> findEdited(std::string_view name) {
  const auto parts = splitExtension(name);
  if (!parts) return std::nullopt;
  const auto head = withoutMarker(parts->first);
  if (!head || holdsLineBreak(*head)) return std::nullopt;
  return Edited{*head, parts->second};
}

Stem withoutCounter(std::string_view stem) {
  if (const auto counter = splitCounter(stem)) return {counter->first, {}};
  const std::size_t end = stem.size() - finalLineBreak(stem);
  if (const auto counter = splitCounter(stem.substr(0, end))) return {counter->first, stem.substr(end)};
  return {stem, {}};
}

bool endsWith(std::string_view key, std::string_view suffix) {
  return key.ends_with(suffix) && Text::isCharacterBoundary(key, key.size() - suffix.size());
}

Stem stemOfKey(std::string_view key) {
  for (const std::string_view suffix : {supplementalSuffix, jsonSuffix}) {
    if (endsWith(key, suffix)) return withoutCounter(key.substr(0, key.size() - suffix.size()));
  }
  return withoutCounter(key);
}

bool cut(std::string& sidecarName, std::size_t limit) {
  if (Text::prefix(sidecarName, limit).size() == sidecarName.size()) return false;
  sidecarName.resize(Text::prefix(sidecarName, limit - jsonSuffix.size()).size());
  sidecarName += jsonSuffix;
  return true;
}

}  // namespace Names

std::vector<std::string> candidates(std::string_view name) {
  std::vector<std::string> list;
  std::string buffer;
  Names::CandidateMaker maker(buffer, [&](std::string_view candidate) {
    const bool listed = std::any_of(list.begin(), list.end(),
                                    [&](const std::string& other) { return Text::equal(other, candidate); });
    if (!listed) list.emplace_back(candidate);
    return false;
  });
  maker.run(name);
  return list;
}

std::optional<DupParts> splitDuplicate(std::string_view name) {
  const auto parts = Names::findDuplicate(name);
  if (!parts) return std::nullopt;
  return DupParts{std::string(parts->stem), std::string(parts->counter), std::string(parts->extension)};
}

std::optional<std::string> stripEdited(std::string_view name) {
  const auto parts = Names::findEdited(name);
  if (!parts) return std::nullopt;
  return std::string(parts->head).append(parts->extension);
}

std::string truncatedSupplemental(std::string_view base, std::size_t limit) {
  std::string name(base);
  name += Names::supplementalSuffix;
  Names::cut(name, limit);
  return name;
}

}  // namespace tollbrook::SidecarMatcher
