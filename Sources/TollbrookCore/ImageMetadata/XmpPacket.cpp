#include "TollbrookCore/ImageMetadata/XmpPacket.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
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

/// The only element in this one; an empty one when there is none or another.
pugi::xml_node onlyElementIn(pugi::xml_node element) {
  pugi::xml_node only;
  for (const pugi::xml_node child : element.children()) {
    if (child.type() != pugi::node_element) continue;
    if (only) return {};
    only = child;
  }
  return only;
}

/// Whether the element is this text, in alternatives without another.
bool isAlternative(pugi::xml_node element, const std::string& value) {
  const pugi::xml_node alternatives = onlyElementIn(element), item = onlyElementIn(alternatives);
  return isNamed(alternatives, rdfSpace, "Alt") && isNamed(item, rdfSpace, "li") &&
         item.attribute("xml:lang").value() == std::string_view("x-default") && item.text().get() == value;
}

/// One text for all languages: what it was in another is no less old.
bool setAlternative(pugi::xml_node element, const std::string& value) {
  if (isAlternative(element, value)) return false;
  clear(element);
  const std::string prefix = prefixOf(element.parent().name());
  pugi::xml_node item = element.append_child((prefix + "Alt").c_str()).append_child((prefix + "li").c_str());
  item.append_attribute("xml:lang") = "x-default";
  return setText(item, value);
}

bool setElement(pugi::xml_node element, const XmpProperty& property) {
  if (property.isLanguageAlternative) return setAlternative(element, property.value);
  const auto values = childrenNamed(element, rdfSpace, "value");
  if (!values.empty()) return setText(values.front(), property.value);
  if (hasElements(element)) clear(element);
  return setText(element, property.value);
}

/// An attribute has no place for languages. Whether there was one.
bool makeElement(pugi::xml_node description, const XmpProperty& property) {
  const auto attributes = attributesNamed(description, property.space, property.name);
  if (attributes.empty()) return false;
  if (childrenNamed(description, property.space, property.name).empty()) {
    description.append_child(attributes.front().name());
  }
  for (const pugi::xml_attribute attribute : attributes) description.remove_attribute(attribute);
  return true;
}

bool setAttributes(pugi::xml_node description, const XmpProperty& property) {
  bool changed = false;
  for (pugi::xml_attribute attribute : attributesNamed(description, property.space, property.name)) {
    if (attribute.value() != property.value) changed = attribute.set_value(property.value.c_str());
  }
  return changed;
}

/// Sets the property where the description has it. Whether anything changed.
bool setProperty(pugi::xml_node description, const XmpProperty& property) {
  bool changed = property.isLanguageAlternative ? makeElement(description, property)
                                                : setAttributes(description, property);
  for (const pugi::xml_node child : childrenNamed(description, property.space, property.name)) {
    changed = setElement(child, property) || changed;
  }
  return changed;
}

bool haveProperty(const std::vector<pugi::xml_node>& descriptions, std::string_view space,
                  std::string_view name) {
  return std::any_of(descriptions.begin(), descriptions.end(), [&](pugi::xml_node description) {
    return !childrenNamed(description, space, name).empty() ||
           !attributesNamed(description, space, name).empty();
  });
}

/// Says of an altitude in the description that it is below sea level: without a reference it is taken to be
/// above. Whether there is one.
bool addBelowSeaLevel(pugi::xml_node description) {
  const auto attributes = attributesNamed(description, exifSpace, "GPSAltitude");
  if (!attributes.empty()) {
    const std::string name = std::string(attributes.front().name()) + "Ref";
    return description.insert_attribute_after(name.c_str(), attributes.front()).set_value(belowSeaLevel);
  }
  const auto elements = childrenNamed(description, exifSpace, "GPSAltitude");
  if (elements.empty()) return false;
  const std::string name = std::string(elements.front().name()) + "Ref";
  pugi::xml_node reference = description.insert_child_after(name.c_str(), elements.front());
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

// What a prefix means is looked for in all elements above, so that must not be done for any number of names.
void requireFewPlaces(const std::vector<pugi::xml_node>& descriptions,
                      const std::vector<XmpProperty>& properties) {
  std::map<std::string_view, std::size_t> places;
  for (const pugi::xml_node description : descriptions) {
    for (const pugi::xml_node child : description.children()) ++places[localName(child.name())];
    for (const pugi::xml_attribute attribute : description.attributes())
      ++places[localName(attribute.name())];
  }
  for (const XmpProperty& property : properties) {
    if (places[property.name] > mostPlaces) throw Refused("the XMP says the same in too many places");
  }
}

/// Whether readers may take a namespace for this one, though it is spelled otherwise: without the slash at
/// its end, with another version, or not declared at all.
bool isLike(std::string_view space, std::string_view wanted) {
  const auto withoutVersion = [](std::string_view name) {
    return name.substr(0, name.find_last_not_of("/.0123456789") + 1);  // npos + 1 is 0
  };
  return space != wanted && (space.empty() || withoutVersion(space) == withoutVersion(wanted));
}

void requireClearNames(pugi::xml_node description, const XmpProperty& property) {
  const auto require = [&](std::string_view name, const auto& space) {
    if (localName(name) == property.name && isLike(space(), property.space)) {
      throw Refused("a property in the XMP is of a doubtful namespace");
    }
  };
  for (const pugi::xml_node child : description.children())
    require(child.name(), [&] { return namespaceOf(child); });
  for (const pugi::xml_attribute attribute : description.attributes())
    require(attribute.name(), [&] { return namespaceOf(attribute, description); });
}

void requireSoundProperties(const XmpTree& tree, const TargetTags& target) {
  const auto properties = xmpProperties(target);
  const auto descriptions = tree.descriptions();
  requireFewPlaces(descriptions, properties);
  for (const pugi::xml_node description : descriptions) {
    for (const XmpProperty& property : properties) requireClearNames(description, property);
  }
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
  requireSoundProperties(*tree, target);
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

bool holdsXmp(std::string_view bytes) { return hasOutermostElement(bytes); }

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
