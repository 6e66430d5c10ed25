#include "Support/NameGenerator.h"

#include <fmt/format.h>
#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/unistr.h>

#include "TollbrookCore/SidecarMatcher.h"
#include "TollbrookCore/Support/Text.h"

namespace tollbrook::test {
namespace {

constexpr std::string_view suffix = ".supplemental-metadata.json";

std::string utf8(const icu::UnicodeString& text) {
  std::string result;
  return text.toUTF8String(result);
}

std::string decomposed(const std::string& text) {
  UErrorCode status = U_ZERO_ERROR;
  return utf8(
      icu::Normalizer2::getNFDInstance(status)->normalize(icu::UnicodeString::fromUTF8(text), status));
}

void insertAt(std::string& text, std::size_t position, const std::string& part) {
  const auto boundaries = Text::characterBoundaries(text);
  text.insert(boundaries[position % boundaries.size()], part);
}

}  // namespace

std::string NameGenerator::pick(std::initializer_list<std::string_view> list) {
  return std::string(list.begin()[below(list.size())]);
}

std::string NameGenerator::counter() {
  return pick(
      {"(1)", "(1)", "(2)", "(12)", " (1)", "  (3)", "(\u0663)", "(\U0001D7D0)", "()", "(1a)", "(1)(2)"});
}

std::string NameGenerator::editMarker() {
  return pick({"-edited",
               "-EDITED",
               "-Edit",
               "-edit",
               "-bewerkt",
               "-BEWER\u212AT",
               "-bearbeitet",
               "-Bearbeitet",
               "-modifi\u00e9",
               "-MODIFI\u00c9",
               "-modifie",
               "-modifie\u0301",
               "-MODIFIE\u0301",
               "-modi\ufb01e",
               "~2",
               "~12",
               "~\u0662",
               "~",
               "-edite",
               "edited"});
}

std::string NameGenerator::filler(std::size_t length) {
  std::string text;
  while (text.size() < length) text += static_cast<char>(chance(30) ? '0' + below(10) : 'a' + below(26));
  return text;
}

std::string NameGenerator::stem() {
  std::string text =
      pick({"IMG_1234", "IMG_20200101_120000", "DSC", "a", "", "abcdefghijklmno", "ABCDEFGHIJKLMNOP",
            "Photo on 2020", "x.y", "\u00dcbung", "U\u0308bung", "\u039f\u0394\u039f\u03a3", "\u1f68\u03a3",
            "\u65e5\u672c\u8a9e\u306e\u5199\u771f\u3067\u3059", "I\u0307st", "\u0130st", "Stra\u00dfe",
            "\u212Aelvin"});
  const std::size_t more = below(100);
  if (more < 15) text += filler(30 + below(24));
  if (more >= 15 && more < 30) text += filler(below(10));
  if (more >= 30 && more < 45) text = filler(15 + below(2));
  if (chance(12)) {
    insertAt(text, below(60),
             pick({"\U0001F468\u200d\U0001F469\u200d\U0001F467",
                   "\U0001F1E9\U0001F1EA",
                   "e\u0301",
                   "\u0301",
                   "\u0308",
                   "\u200d",
                   "\u0600",
                   "\u1100\u1161\u11a8",
                   "\uac01",
                   "\r\n",
                   "\n",
                   "\r",
                   "\u0085",
                   "\u2028",
                   "\xff",
                   "\xc3",
                   "\xe2\x82",
                   "\xa9",
                   "\u03a3",
                   "\ufb01",
                   " ",
                   "(",
                   ")",
                   "."}));
  }
  return text;
}

std::string NameGenerator::media() {
  std::string name = stem();
  if (chance(25)) name += counter();
  if (chance(25)) name += editMarker();
  if (chance(8)) name += counter();
  name += pick({".jpg", ".jpg", ".JPG", ".HEIC", ".mp4", ".jpeg", "", ".", ".\u0301jpg", ".\u03a3", ".suppl",
                "\u0600", ".a\n"});
  return name;
}

std::string NameGenerator::relative(const std::string& media) {
  const std::size_t dot = media.rfind('.');
  std::string name = media;
  const std::size_t where = dot == std::string::npos ? media.size() : dot;
  switch (below(7)) {
    case 0:
      return name.insert(where, counter());
    case 1:
      return name.insert(where, editMarker());
    case 2:
      return disguised(name);
    case 3:
      return std::string(Text::prefix(media, below(30)));
    case 4:
      return name + filler(below(4));
    case 5:
      return name.substr(0, where) + pick({".jpg", ".mp4", ""});
    default:
      return name;
  }
}

std::string NameGenerator::json(const std::string& media) {
  const auto options = SidecarMatcher::candidates(media);
  std::string name;
  switch (below(9)) {
    case 0:
    case 1:
      name = options[below(options.size())];
      break;
    case 2:
      name = media + std::string(suffix.substr(0, below(suffix.size() - 5))) + ".json";
      break;
    case 3:
      name = std::string(Text::prefix(media, 13 + below(30))) + std::string(chance(50) ? suffix : ".json");
      break;
    case 4:
      name = media + filler(below(5)) + counter() + ".json";
      break;
    case 5:
      name = media + ".suppl" + filler(below(4)) +
             pick({".json", ".suppl.json", "\u0301.json", "\u0308.json", "\u0600.json", ".jsn"});
      break;
    case 6:
      name = media + counter() + pick({"", "\n", "\r\n", "\u2029"}) +
             pick({".json", std::string_view(suffix), ".txt"});
      break;
    case 7:
      name = SidecarMatcher::truncatedSupplemental(media, 20 + below(40));
      break;
    default:
      name = stem() + ".json";
      break;
  }
  if (chance(10)) insertAt(name, below(80), counter());
  return chance(35) ? disguised(name) : name;
}

std::string NameGenerator::disguised(const std::string& name) {
  if (!Text::isValidUtf8(name)) return Text::lowercased(name);
  icu::UnicodeString text = icu::UnicodeString::fromUTF8(name);
  switch (below(5)) {
    case 0:
      return utf8(text.toUpper(icu::Locale::getRoot()));
    case 1:
      return Text::lowercased(name);
    case 2:
      return decomposed(name);
    case 3:
      return Text::canonical(name);
    default:
      break;
  }
  std::string mixed = name;
  for (char& c : mixed) {
    if (c >= 'a' && c <= 'z' && chance(50)) c = static_cast<char>(c - 'a' + 'A');
  }
  return mixed;
}

std::string escaped(std::string_view text) {
  std::string result;
  for (const char c : text) {
    if (c >= ' ' && c <= '~' && c != '\\') {
      result += c;
    } else {
      result += fmt::format("\\x{:02x}", static_cast<unsigned>(static_cast<unsigned char>(c)));
    }
  }
  return result;
}

}  // namespace tollbrook::test
