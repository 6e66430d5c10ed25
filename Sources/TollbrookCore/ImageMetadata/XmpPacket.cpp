#include "TollbrookCore/ImageMetadata/XmpPacket.h"

#include <fmt/format.h>

#include <algorithm>
#include <iterator>
#include <vector>

#include "TollbrookCore/ImageMetadata/ByteSource.h"
#include "TollbrookCore/ImageMetadata/MetadataVerifier.h"
#include "TollbrookCore/ImageMetadata/XmpProperties.h"
#include "TollbrookCore/ImageMetadata/XmpTree.h"

namespace tollbrook::ImageMetadata {
namespace {

bool setText(pugi::xml_node element, const std::string& value) {
  if (element.text().get() == value && element.first_child() == element.last_child()) return false;
  element.remove_children();
  element.append_child(pugi::node_pcdata).set_value(value.c_str());
  return true;
}

bool hasElements(pugi::xml_node element) {
  return std::any_of(element.begin(), element.end(),
                     [](pugi::xml_node child) { return child.type() == pugi::node_element; });
}

/// Takes away the form that the property had.
void clear(pugi::xml_node element) {
  std::vector<pugi::xml_attribute> qualifiers;
  for (const pugi::xml_attribute attribute : element.attributes()) {
    if (!std::string_view(attribute.name()).starts_with("xmlns")) qualifiers.push_back(attribute);
  }
  for (const pugi::xml_attribute qualifier : qualifiers) element.remove_attribute(qualifier);
  element.remove_children();
}

/// Whether the alternatives are this text and no other.
bool isAlternative(pugi::xml_node alternatives, const std::string& value) {
  const auto items = alternatives.children();
  std::vector<pugi::xml_node> elements;
  std::copy_if(items.begin(), items.end(), std::back_inserter(elements),
               [](pugi::xml_node item) { return item.type() == pugi::node_element; });
  return elements.size() == 1 && isNamed(elements[0], rdfSpace, "li") &&
         elements[0].attribute("xml:lang").value() == std::string_view("x-default") &&
         elements[0].text().get() == value;
}

/// One text for all languages: what it was in another is no less old.
bool setAlternative(pugi::xml_node element, const std::string& value) {
  if (isAlternative(childNamed(element, rdfSpace, "Alt"), value)) return false;
  clear(element);
  const std::string prefix = prefixOf(element.parent().name());
  pugi::xml_node item = element.append_child((prefix + "Alt").c_str()).append_child((prefix + "li").c_str());
  item.append_attribute("xml:lang") = "x-default";
  return setText(item, value);
}

bool setElement(pugi::xml_node element, const XmpProperty& property) {
  if (property.isLanguageAlternative) return setAlternative(element, property.value);
  if (const auto value = childNamed(element, rdfSpace, "value")) return setText(value, property.value);
  if (hasElements(element)) clear(element);
  return setText(element, property.value);
}

/// An attribute has no place for languages. Whether there was one.
bool makeElement(pugi::xml_node description, const XmpProperty& property) {
  bool isFound = false;
  while (const auto attribute = attributeNamed(description, property.space, property.name)) {
    if (!childNamed(description, property.space, property.name)) description.append_child(attribute.name());
    isFound = description.remove_attribute(attribute);
  }
  return isFound;
}

bool setAttributes(pugi::xml_node description, const XmpProperty& property) {
  bool changed = false;
  for (pugi::xml_attribute attribute : description.attributes()) {
    if (!isNamed(attribute.name(), description, property.space, property.name)) continue;
    if (attribute.value() != property.value) changed = attribute.set_value(property.value.c_str());
  }
  return changed;
}

/// Sets the property where the description has it. Whether anything changed.
bool setProperty(pugi::xml_node description, const XmpProperty& property) {
  bool changed = property.isLanguageAlternative ? makeElement(description, property)
                                                : setAttributes(description, property);
  for (const pugi::xml_node child : description.children()) {
    if (isNamed(child, property.space, property.name)) changed = setElement(child, property) || changed;
  }
  return changed;
}

bool haveProperty(const std::vector<pugi::xml_node>& descriptions, std::string_view space,
                  std::string_view name) {
  return std::any_of(descriptions.begin(), descriptions.end(), [&](pugi::xml_node description) {
    return childNamed(description, space, name) || attributeNamed(description, space, name);
  });
}

/// Says of an altitude in the description that it is below sea level: without a reference it is taken to be
/// above. Whether there is one.
bool addBelowSeaLevel(pugi::xml_node description) {
  if (const auto altitude = attributeNamed(description, exifSpace, "GPSAltitude")) {
    const std::string name = std::string(altitude.name()) + "Ref";
    return description.insert_attribute_after(name.c_str(), altitude).set_value(belowSeaLevel);
  }
  const auto altitude = childNamed(description, exifSpace, "GPSAltitude");
  if (!altitude) return false;
  const std::string name = std::string(altitude.name()) + "Ref";
  pugi::xml_node reference = description.insert_child_after(name.c_str(), altitude);
  if (!isNamed(reference, exifSpace, "GPSAltitudeRef")) {
    const std::string declaration = "xmlns:" + name.substr(0, name.find(':'));
    reference.append_attribute(declaration.c_str()) = std::string(exifSpace).c_str();
  }
  return reference.text().set(belowSeaLevel);
}

bool setProperties(XmpTree& tree, const TargetTags& target) {
  const auto properties = xmpProperties(target);
  const auto all = tree.descriptions();
  bool changed = false;
  for (const pugi::xml_node description : all) {
    for (const XmpProperty& property : properties) changed = setProperty(description, property) || changed;
  }
  const bool isBelowSeaLevel = target.position && target.position->altitude.value_or(0) < 0;
  if (isBelowSeaLevel && !haveProperty(all, exifSpace, "GPSAltitudeRef")) {
    changed = std::any_of(all.begin(), all.end(), addBelowSeaLevel) || changed;
  }
  return changed;
}

/// An empty description of the picture, where there is none.
void addDescription(XmpTree& tree) {
  const auto descriptions = tree.descriptions();
  if (descriptions.empty() || haveProperty(descriptions, dcSpace, "description")) return;
  pugi::xml_node description = descriptions.front();
  description.append_child("dc:description").append_attribute("xmlns:dc") = std::string(dcSpace).c_str();
}

std::optional<std::string> updated(std::string_view packet, const TargetTags& target, bool addsCaption) {
  auto tree = XmpTree::parse(packet);
  if (!tree) return std::nullopt;
  if (addsCaption && !target.caption.empty()) addDescription(*tree);
  if (!setProperties(*tree, target)) return std::nullopt;
  std::string result = tree->packet();
  tree.reset();  // the verification makes its own
  verifyXmp(packet, result, target);
  auto again = XmpTree::parse(result);
  if (!again || setProperties(*again, target)) throw Refused("the XMP cannot be brought into line");
  return result;
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
      rdfSpace);
  TargetTags target;
  target.caption = caption;
  return updatedXmpWithCaption(empty, target).value_or(empty);
}

}  // namespace tollbrook::ImageMetadata
