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
  /// None when the packet cannot be read; Refused when it is larger than any sound one.
  static std::optional<XmpTree> parse(std::string_view packet);

  /// The elements that hold the properties, as attributes and as elements.
  std::vector<pugi::xml_node> descriptions() const;
  /// The packet with the tree as it is now, between what stood around it.
  std::string packet() const;

 private:
  pugi::xml_document document_;
  std::string_view before_, behind_;  ///< of the packet, which stays there longer
};

/// Whether the name of `element`, or of an attribute of it, means `name` in the namespace `space`.
bool isNamed(std::string_view qualified, pugi::xml_node element, std::string_view space,
             std::string_view name);
bool isNamed(pugi::xml_node element, std::string_view space, std::string_view name);
/// The first with that name; an empty one when there is none.
pugi::xml_node childNamed(pugi::xml_node element, std::string_view space, std::string_view name);
pugi::xml_attribute attributeNamed(pugi::xml_node element, std::string_view space, std::string_view name);
/// The part of a name up to its colon, that included; empty when it has no prefix.
std::string prefixOf(std::string_view qualified);

}  // namespace tollbrook::ImageMetadata
