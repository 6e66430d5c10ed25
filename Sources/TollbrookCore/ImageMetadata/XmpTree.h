#pragma once

#include <optional>
#include <pugixml.hpp>
#include <string>
#include <string_view>
#include <vector>

/// The XML of XMP packets (ISO 16684-1, 7).
namespace tollbrook::ImageMetadata {

constexpr std::string_view rdfSpace = "http://www.w3.org/1999/02/22-rdf-syntax-ns#";

/// A packet as a tree that can be changed.
class XmpTree {
 public:
  /// None when the packet cannot be read; Refused when it is larger than any sound one, not in UTF-8, or made
  /// of several.
  static std::optional<XmpTree> parse(std::string_view packet);

  /// The elements that hold the properties, as attributes and as elements.
  std::vector<pugi::xml_node> descriptions() const;
  /// The packet with the tree as it is now, between what stood around it.
  std::string packet() const;

 private:
  pugi::xml_document document_;
  std::string_view before_, behind_;  ///< of the packet, which stays there longer
};

/// Whether an element that packets are made of begins somewhere in these bytes.
bool hasOutermostElement(std::string_view bytes);

/// The namespace of a name; empty when it has none, or nothing says which.
std::string_view namespaceOf(pugi::xml_node element);
std::string_view namespaceOf(pugi::xml_attribute attribute, pugi::xml_node element);
bool isNamed(pugi::xml_node element, std::string_view space, std::string_view name);
/// All with that name, in order.
std::vector<pugi::xml_node> childrenNamed(pugi::xml_node element, std::string_view space,
                                          std::string_view name);
std::vector<pugi::xml_attribute> attributesNamed(pugi::xml_node element, std::string_view space,
                                                 std::string_view name);
/// The part of a name up to its colon, that included; empty when it has no prefix.
std::string prefixOf(std::string_view qualified);
/// The part behind it.
std::string_view localName(std::string_view qualified);

}  // namespace tollbrook::ImageMetadata
