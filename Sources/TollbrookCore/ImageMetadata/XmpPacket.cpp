#include "TollbrookCore/ImageMetadata/XmpPacket.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <pugixml.hpp>
#include <sstream>
#include <vector>

#include "TollbrookCore/Support/Text.h"

namespace tollbrook::ImageMetadata {
namespace {

constexpr std::string_view rdf = "http://www.w3.org/1999/02/22-rdf-syntax-ns#";
constexpr std::string_view dc = "http://purl.org/dc/elements/1.1/";
constexpr std::string_view exif = "http://ns.adobe.com/exif/1.0/";
constexpr std::string_view tiff = "http://ns.adobe.com/tiff/1.0/";
constexpr std::string_view xmp = "http://ns.adobe.com/xap/1.0/";
constexpr std::string_view photoshop = "http://ns.adobe.com/photoshop/1.0/";

constexpr const char* belowSeaLevel = "1";  ///< GPSAltitudeRef

/// A property and the value it is to have wherever it is there.
struct Property {
  std::string_view space;
  std::string_view name;
  std::string value;
  bool isLanguageAlternative = false;
};

/// ISO 8601, as XMP has it (ISO 16684-1, 8.2.1.2).
std::string dateText(TimePoint time) {
  const CivilTime civil = civilTime(time).value_or(CivilTime{});
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}+00:00", civil.year, civil.month, civil.day,
                     civil.hour, civil.minute, civil.second);
}

/// "DDD,MM.mmmmmmk" (ISO 16684-2, GPSCoordinate).
std::string coordinateText(double degrees, char positive, char negative) {
  constexpr std::uint64_t unitsPerMinute = 100000000, unitsPerDegree = 60 * unitsPerMinute;
  const auto total =
      static_cast<std::uint64_t>(std::llround(std::abs(degrees) * static_cast<double>(unitsPerDegree)));
  const std::uint64_t rest = total % unitsPerDegree;
  return fmt::format("{},{}.{:08}{}", total / unitsPerDegree, rest / unitsPerMinute, rest % unitsPerMinute,
                     degrees >= 0 ? positive : negative);
}

/// XML has no place for most control characters, not even escaped (XML 1.0, 2.2).
std::string xmlText(std::string_view text) {
  std::string result = Text::replacingInvalidUtf8(text);
  std::erase_if(result, [](char character) {
    const auto code = static_cast<unsigned char>(character);
    return code < 0x20 && code != '\n' && code != '\r' && code != '\t';
  });
  return result;
}

std::vector<Property> properties(const TargetTags& target) {
  std::vector<Property> list;
  if (target.takenTime) {
    const std::string date = dateText(*target.takenTime);
    for (const auto& [space, name] : {std::pair{exif, "DateTimeOriginal"},
                                      {exif, "DateTimeDigitized"},
                                      {xmp, "CreateDate"},
                                      {tiff, "DateTime"},
                                      {xmp, "ModifyDate"},
                                      {photoshop, "DateCreated"}}) {
      list.push_back({space, name, date});
    }
  }
  if (target.position) {
    list.push_back({exif, "GPSLatitude", coordinateText(target.position->latitude, 'N', 'S')});
    list.push_back({exif, "GPSLongitude", coordinateText(target.position->longitude, 'E', 'W')});
    if (const auto altitude = target.position->altitude) {
      const Rational value = altitudeRational(*altitude);
      list.push_back({exif, "GPSAltitude", fmt::format("{}/{}", value.numerator, value.denominator)});
      list.push_back({exif, "GPSAltitudeRef", *altitude < 0 ? belowSeaLevel : "0"});
    }
  }
  if (!target.caption.empty()) {
    list.push_back({dc, "description", xmlText(target.caption), true});
    list.push_back({tiff, "ImageDescription", xmlText(target.caption), true});
  }
  return list;
}

std::string_view localName(std::string_view qualified) {
  return qualified.substr(qualified.find(':') + 1);  // npos + 1 is 0
}

/// The namespace that the prefix of a name stands for at `element`.
std::string_view namespaceOf(std::string_view qualified, pugi::xml_node element) {
  const std::size_t colon = qualified.find(':');
  if (colon == std::string_view::npos) return {};
  const std::string declaration = "xmlns:" + std::string(qualified.substr(0, colon));
  for (pugi::xml_node node = element; node; node = node.parent()) {
    if (const auto attribute = node.attribute(declaration.c_str())) return attribute.value();
  }
  return {};
}

bool isNamed(pugi::xml_node element, std::string_view space, std::string_view name) {
  return localName(element.name()) == name && namespaceOf(element.name(), element) == space;
}

pugi::xml_node childNamed(pugi::xml_node element, std::string_view space, std::string_view name) {
  for (const pugi::xml_node child : element.children()) {
    if (isNamed(child, space, name)) return child;
  }
  return {};
}

pugi::xml_attribute attributeNamed(pugi::xml_node element, std::string_view space, std::string_view name) {
  for (const pugi::xml_attribute attribute : element.attributes()) {
    if (localName(attribute.name()) == name && namespaceOf(attribute.name(), element) == space)
      return attribute;
  }
  return {};
}

bool setText(pugi::xml_node element, const std::string& value) {
  if (element.text().get() == value && element.first_child() == element.last_child()) return false;
  element.remove_children();
  element.append_child(pugi::node_pcdata).set_value(value.c_str());
  return true;
}

void addDefaultItem(pugi::xml_node alternatives, const std::string& value) {
  const std::string name = alternatives.name();
  pugi::xml_node item = alternatives.append_child((name.substr(0, name.find(':') + 1) + "li").c_str());
  item.append_attribute("xml:lang") = "x-default";
  item.text().set(value.c_str());
}

bool setAlternative(pugi::xml_node alternatives, const std::string& value) {
  pugi::xml_node chosen;
  for (const pugi::xml_node item : alternatives.children()) {
    if (!isNamed(item, rdf, "li")) continue;
    const std::string_view language = item.attribute("xml:lang").value();
    if (!chosen || language == "x-default") chosen = item;
  }
  if (chosen) return setText(chosen, value);
  addDefaultItem(alternatives, value);
  return true;
}

bool hasElements(pugi::xml_node element) {
  return std::any_of(element.begin(), element.end(),
                     [](pugi::xml_node child) { return child.type() == pugi::node_element; });
}

bool setElement(pugi::xml_node element, const Property& property) {
  if (const auto alternatives = childNamed(element, rdf, "Alt");
      alternatives && property.isLanguageAlternative) {
    return setAlternative(alternatives, property.value);
  }
  if (const auto value = childNamed(element, rdf, "value")) return setText(value, property.value);
  return !hasElements(element) && setText(element, property.value);
}

/// Sets the property where the description has it. Whether anything changed.
bool setProperty(pugi::xml_node description, const Property& property) {
  bool changed = false;
  for (pugi::xml_attribute attribute : description.attributes()) {
    const bool isIt = localName(attribute.name()) == property.name &&
                      namespaceOf(attribute.name(), description) == property.space;
    if (!isIt || attribute.value() == property.value) continue;
    attribute.set_value(property.value.c_str());
    changed = true;
  }
  for (const pugi::xml_node child : description.children()) {
    if (isNamed(child, property.space, property.name)) changed = setElement(child, property) || changed;
  }
  return changed;
}

bool hasProperty(pugi::xml_node description, std::string_view space, std::string_view name) {
  return childNamed(description, space, name) || attributeNamed(description, space, name);
}

bool isBelowSeaLevel(const TargetTags& target) {
  return target.position && target.position->altitude.value_or(0) < 0;
}

/// Says of an altitude in the description that it is below sea level: without a reference it is taken to be
/// above. Whether there is one.
bool addBelowSeaLevel(pugi::xml_node description) {
  if (const auto altitude = attributeNamed(description, exif, "GPSAltitude")) {
    const std::string name = std::string(altitude.name()) + "Ref";
    return description.insert_attribute_after(name.c_str(), altitude).set_value(belowSeaLevel);
  }
  const auto altitude = childNamed(description, exif, "GPSAltitude");
  if (!altitude) return false;
  const std::string name = std::string(altitude.name()) + "Ref";
  pugi::xml_node reference = description.insert_child_after(name.c_str(), altitude);
  if (namespaceOf(name, reference) != exif) {
    const std::string declaration = "xmlns:" + name.substr(0, name.find(':'));
    reference.append_attribute(declaration.c_str()) = std::string(exif).c_str();
  }
  return reference.text().set(belowSeaLevel);
}

void addDescription(pugi::xml_node description, const std::string& caption) {
  const std::string rdfName = description.name();
  const std::string prefix = rdfName.substr(0, rdfName.find(':') + 1);
  pugi::xml_node property = description.append_child("dc:description");
  property.append_attribute("xmlns:dc") = std::string(dc).c_str();
  addDefaultItem(property.append_child((prefix + "Alt").c_str()), caption);
}

/// The range of the outermost element in the packet, between its processing instructions.
std::string_view elementIn(std::string_view packet) {
  constexpr std::string_view outermost[] = {"xmpmeta", "xapmeta", "RDF"};
  for (const auto name : outermost) {
    const std::size_t word = packet.find(name);
    if (word == std::string_view::npos) continue;
    const std::size_t start = packet.rfind('<', word);
    const std::size_t lastWord = packet.rfind(name);
    const std::size_t end = packet.find('>', lastWord);
    if (start == std::string_view::npos || end == std::string_view::npos || lastWord == word) return {};
    return packet.substr(start, end + 1 - start);
  }
  return {};
}

pugi::xml_node rdfRoot(const pugi::xml_document& document) {
  const pugi::xml_node root = document.document_element();
  return isNamed(root, rdf, "RDF") ? root : childNamed(root, rdf, "RDF");
}

std::vector<pugi::xml_node> descriptionsIn(pugi::xml_node root) {
  std::vector<pugi::xml_node> descriptions;
  for (const pugi::xml_node child : root.children()) {
    if (isNamed(child, rdf, "Description")) descriptions.push_back(child);
  }
  return descriptions;
}

bool haveProperty(const std::vector<pugi::xml_node>& descriptions, std::string_view space,
                  std::string_view name) {
  return std::any_of(descriptions.begin(), descriptions.end(),
                     [&](pugi::xml_node description) { return hasProperty(description, space, name); });
}

/// What any sound packet stays below. Every look for the meaning of a prefix goes through the attributes of
/// all elements above, and pugixml removes elements by recursion.
class SizeCheck final : public pugi::xml_tree_walker {
 public:
  bool for_each(pugi::xml_node& node) override {
    constexpr int mostLevels = 100;
    constexpr std::ptrdiff_t mostAttributes = 1000;
    const auto attributes = node.attributes();
    return depth() < mostLevels && std::distance(attributes.begin(), attributes.end()) <= mostAttributes;
  }
};

std::optional<std::string> updated(std::string_view packet, const TargetTags& target, bool addsCaption) {
  const std::string_view element = elementIn(packet);
  if (element.empty() || !Text::isValidUtf8(packet)) return std::nullopt;
  pugi::xml_document document;
  constexpr unsigned flags = (pugi::parse_full & ~pugi::parse_doctype) | pugi::parse_ws_pcdata;
  if (!document.load_buffer(element.data(), element.size(), flags, pugi::encoding_utf8)) return std::nullopt;
  const pugi::xml_node root = rdfRoot(document);
  SizeCheck check;
  if (!root || !document.traverse(check)) return std::nullopt;

  const auto descriptions = descriptionsIn(root);
  const bool hasCaption = haveProperty(descriptions, dc, "description");
  bool changed = false;
  for (const pugi::xml_node description : descriptions) {
    for (const Property& property : properties(target))
      changed = setProperty(description, property) || changed;
  }
  if (isBelowSeaLevel(target) && !haveProperty(descriptions, exif, "GPSAltitudeRef")) {
    changed = std::any_of(descriptions.begin(), descriptions.end(), addBelowSeaLevel) || changed;
  }
  if (addsCaption && !target.caption.empty() && !hasCaption && !descriptions.empty()) {
    addDescription(descriptions.front(), xmlText(target.caption));
    changed = true;
  }
  if (!changed) return std::nullopt;
  std::ostringstream text;
  document.save(text, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
  const auto start = static_cast<std::size_t>(element.data() - packet.data());
  return std::string(packet.substr(0, start)) + text.str() +
         std::string(packet.substr(start + element.size()));
}

}  // namespace

std::optional<std::string> updatedXmp(std::string_view packet, const TargetTags& target) {
  return updated(packet, target, false);
}

std::optional<std::string> updatedXmpWithCaption(std::string_view packet, const TargetTags& target) {
  return updated(packet, target, true);
}

std::string newXmp(std::string_view caption) {
  const std::string empty = fmt::format(
      "<?xpacket begin=\"\xEF\xBB\xBF\" id=\"W5M0MpCehiHzreSzNTczkc9d\"?>"
      "<x:xmpmeta xmlns:x=\"adobe:ns:meta/\"><rdf:RDF xmlns:rdf=\"{}\"><rdf:Description rdf:about=\"\"/>"
      "</rdf:RDF></x:xmpmeta><?xpacket end=\"w\"?>",
      rdf);
  TargetTags target;
  target.caption = caption;
  return updatedXmpWithCaption(empty, target).value_or(empty);
}

}  // namespace tollbrook::ImageMetadata
