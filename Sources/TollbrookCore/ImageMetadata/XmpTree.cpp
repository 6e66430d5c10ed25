#include "TollbrookCore/ImageMetadata/XmpTree.h"

#include <algorithm>
#include <iterator>

#include "TollbrookCore/ImageMetadata/ByteSource.h"
#include "TollbrookCore/Support/Text.h"

namespace tollbrook::ImageMetadata {
namespace {

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

/// The range of the outermost element in the packet, between its processing instructions.
std::string_view elementIn(std::string_view packet) {
  constexpr std::string_view outermost[] = {"xmpmeta", "xapmeta", "RDF"};
  for (const auto name : outermost) {
    const std::size_t word = packet.find(name);
    if (word == std::string_view::npos) continue;
    const std::size_t start = packet.rfind('<', word);
    if (start == std::string_view::npos) return {};
    const bool isText = packet.substr(start, word - start).find_first_of("> ") != std::string_view::npos;
    if (isText) continue;
    const std::size_t lastWord = packet.rfind(name);
    const std::size_t end = packet.find('>', lastWord);
    if (end == std::string_view::npos || lastWord == word) return {};
    return packet.substr(start, end + 1 - start);
  }
  return {};
}

pugi::xml_node rdfRoot(const pugi::xml_document& document) {
  const pugi::xml_node root = document.document_element();
  return isNamed(root, rdfSpace, "RDF") ? root : childNamed(root, rdfSpace, "RDF");
}

// A packet of a few bytes in compressed form, or one of nothing but empty elements, could make a tree that
// fills the memory. Elements have a '<', attributes a '='.
void requireSoundSize(std::string_view packet) {
  constexpr std::ptrdiff_t mostMarks = std::ptrdiff_t{1} << 17;
  const auto marks = std::count_if(packet.begin(), packet.end(), [](char c) { return c == '<' || c == '='; });
  if (packet.size() > mostMetadata || marks > mostMarks) throw Refused("the XMP is too large");
}

/// Appends to a string. A carriage return that was written as a reference stays one: as it is, readers would
/// make a line feed of it (XML 1.0, 2.11).
class StringWriter final : public pugi::xml_writer {
 public:
  explicit StringWriter(std::string& text) : text_(text) {}
  void write(const void* data, std::size_t size) override {
    std::string_view rest(static_cast<const char*>(data), size);
    for (auto found = rest.find('\r'); found != rest.npos; found = rest.find('\r')) {
      text_.append(rest.substr(0, found)).append("&#xD;");
      rest.remove_prefix(found + 1);
    }
    text_.append(rest);
  }

 private:
  std::string& text_;
};

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

}  // namespace

std::optional<XmpTree> XmpTree::parse(std::string_view packet) {
  requireSoundSize(packet);
  const std::string_view element = elementIn(packet);
  if (element.empty() || !Text::isValidUtf8(packet)) return std::nullopt;
  XmpTree tree;
  constexpr unsigned flags = (pugi::parse_full & ~pugi::parse_doctype) | pugi::parse_ws_pcdata;
  if (!tree.document_.load_buffer(element.data(), element.size(), flags, pugi::encoding_utf8)) {
    return std::nullopt;
  }
  SizeCheck check;
  if (!rdfRoot(tree.document_) || !tree.document_.traverse(check)) return std::nullopt;
  const auto start = static_cast<std::size_t>(element.data() - packet.data());
  tree.before_ = packet.substr(0, start);
  tree.behind_ = packet.substr(start + element.size());
  return tree;
}

std::vector<pugi::xml_node> XmpTree::descriptions() const {
  std::vector<pugi::xml_node> descriptions;
  for (const pugi::xml_node child : rdfRoot(document_).children()) {
    if (isNamed(child, rdfSpace, "Description")) descriptions.push_back(child);
  }
  return descriptions;
}

std::string XmpTree::packet() const {
  std::string text(before_);
  StringWriter writer(text);
  document_.save(writer, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
  return text.append(behind_);
}

bool isNamed(std::string_view qualified, pugi::xml_node element, std::string_view space,
             std::string_view name) {
  const std::string_view local = qualified.substr(qualified.find(':') + 1);  // npos + 1 is 0
  return local == name && namespaceOf(qualified, element) == space;
}

bool isNamed(pugi::xml_node element, std::string_view space, std::string_view name) {
  return isNamed(element.name(), element, space, name);
}

pugi::xml_node childNamed(pugi::xml_node element, std::string_view space, std::string_view name) {
  return element.find_child([&](pugi::xml_node child) { return isNamed(child, space, name); });
}

pugi::xml_attribute attributeNamed(pugi::xml_node element, std::string_view space, std::string_view name) {
  return element.find_attribute(
      [&](pugi::xml_attribute attribute) { return isNamed(attribute.name(), element, space, name); });
}

std::string prefixOf(std::string_view qualified) {
  return std::string(qualified.substr(0, qualified.find(':') + 1));  // npos + 1 is 0
}

}  // namespace tollbrook::ImageMetadata
