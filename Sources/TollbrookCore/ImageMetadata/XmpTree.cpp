#include "TollbrookCore/ImageMetadata/XmpTree.h"

#include <algorithm>
#include <iterator>

#include "TollbrookCore/ImageMetadata/ByteSource.h"
#include "TollbrookCore/Support/Text.h"

namespace tollbrook::ImageMetadata {
namespace {

/// What a prefix, or for elements its absence, stands for at `element`.
std::string_view declared(std::string_view declaration, pugi::xml_node element) {
  const std::string name(declaration);
  for (pugi::xml_node node = element; node; node = node.parent()) {
    if (const auto attribute = node.attribute(name.c_str())) return attribute.value();
  }
  return {};
}

std::string declarationOf(std::string_view prefix) {
  return prefix.empty() ? "xmlns" : "xmlns:" + std::string(prefix.substr(0, prefix.size() - 1));
}

constexpr std::string_view outermost[] = {"xmpmeta", "xapmeta", "RDF"};

/// Where the first start tag with this name stands, whatever its prefix.
std::size_t startTag(std::string_view packet, std::string_view name) {
  std::size_t at = packet.find('<');
  for (; at != std::string_view::npos; at = packet.find('<', at + 1)) {
    const std::size_t end = packet.find_first_of("</> \t\r\n", at + 1);
    if (localName(packet.substr(at + 1, end - at - 1)) == name) break;
  }
  return at;
}

/// The range of the outermost element in the packet, between its processing instructions.
std::string_view elementIn(std::string_view packet) {
  for (const auto name : outermost) {
    const std::size_t start = startTag(packet, name);
    if (start == std::string_view::npos) continue;
    const std::size_t lastWord = packet.rfind(name);
    const std::size_t end = packet.find('>', lastWord);
    if (end == std::string_view::npos || lastWord == packet.find(name, start)) return {};
    return packet.substr(start, end + 1 - start);
  }
  return {};
}

/// Readers look for packets in UTF-16 and UTF-32 too. In these the letters of the element's name lie among
/// zeros.
void requireUtf8(std::string_view packet) {
  if (packet.find('\0') == std::string_view::npos) return;
  std::string letters(packet);
  std::erase(letters, '\0');
  if (hasOutermostElement(letters)) throw Refused("the XMP is not in UTF-8");
}

// Of several packets in one, readers may show any.
void requireOneRoot(const pugi::xml_document& document) {
  const auto isElement = [](pugi::xml_node node) { return node.type() == pugi::node_element; };
  const auto isRdf = [](pugi::xml_node node) { return localName(node.name()) == "RDF"; };
  const auto roots = document.children();
  const auto inRoot = document.document_element().children();
  if (std::count_if(roots.begin(), roots.end(), isElement) != 1 ||
      std::count_if(inRoot.begin(), inRoot.end(), isRdf) > 1) {
    throw Refused("there are several XMP packets in one");
  }
}

pugi::xml_node rdfRoot(const pugi::xml_document& document) {
  const pugi::xml_node root = document.document_element();
  const auto isRdf = [](pugi::xml_node node) { return isNamed(node, rdfSpace, "RDF"); };
  return isRdf(root) ? root : root.find_child(isRdf);
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
  if (element.empty()) requireUtf8(packet);
  if (element.empty() || !Text::isValidUtf8(packet)) return std::nullopt;
  XmpTree tree;
  constexpr unsigned flags = (pugi::parse_full & ~pugi::parse_doctype) | pugi::parse_ws_pcdata;
  if (!tree.document_.load_buffer(element.data(), element.size(), flags, pugi::encoding_utf8)) {
    return std::nullopt;
  }
  requireOneRoot(tree.document_);
  SizeCheck check;
  if (!rdfRoot(tree.document_) || !tree.document_.traverse(check)) return std::nullopt;
  const auto start = static_cast<std::size_t>(element.data() - packet.data());
  tree.before_ = packet.substr(0, start);
  tree.behind_ = packet.substr(start + element.size());
  if (hasOutermostElement(tree.before_) || hasOutermostElement(tree.behind_)) {
    throw Refused("there are several XMP packets in one");
  }
  return tree;
}

std::vector<pugi::xml_node> XmpTree::descriptions() const {
  std::vector<pugi::xml_node> descriptions;
  for (const pugi::xml_node child : rdfRoot(document_).children()) {
    if (child.type() == pugi::node_element) descriptions.push_back(child);
  }
  return descriptions;
}

std::string XmpTree::packet() const {
  std::string text(before_);
  StringWriter writer(text);
  document_.save(writer, "", pugi::format_raw | pugi::format_no_declaration, pugi::encoding_utf8);
  return text.append(behind_);
}

bool hasOutermostElement(std::string_view bytes) {
  return std::any_of(std::begin(outermost), std::end(outermost),
                     [&](std::string_view name) { return startTag(bytes, name) != std::string_view::npos; });
}

std::string_view namespaceOf(pugi::xml_node element) {
  return declared(declarationOf(prefixOf(element.name())), element);
}

std::string_view namespaceOf(pugi::xml_attribute attribute, pugi::xml_node element) {
  const std::string prefix = prefixOf(attribute.name());
  return prefix.empty() ? std::string_view() : declared(declarationOf(prefix), element);
}

bool isNamed(pugi::xml_node element, std::string_view space, std::string_view name) {
  return localName(element.name()) == name && namespaceOf(element) == space;
}

std::vector<pugi::xml_node> childrenNamed(pugi::xml_node element, std::string_view space,
                                          std::string_view name) {
  const auto children = element.children();
  std::vector<pugi::xml_node> found;
  std::copy_if(children.begin(), children.end(), std::back_inserter(found),
               [&](pugi::xml_node child) { return isNamed(child, space, name); });
  return found;
}

std::vector<pugi::xml_attribute> attributesNamed(pugi::xml_node element, std::string_view space,
                                                 std::string_view name) {
  const auto attributes = element.attributes();
  std::vector<pugi::xml_attribute> found;
  std::copy_if(attributes.begin(), attributes.end(), std::back_inserter(found), [&](auto attribute) {
    return localName(attribute.name()) == name && namespaceOf(attribute, element) == space;
  });
  return found;
}

std::string prefixOf(std::string_view qualified) {
  return std::string(qualified.substr(0, qualified.find(':') + 1));  // npos + 1 is 0
}

std::string_view localName(std::string_view qualified) {
  return qualified.substr(qualified.find(':') + 1);  // npos + 1 is 0
}

}  // namespace tollbrook::ImageMetadata
