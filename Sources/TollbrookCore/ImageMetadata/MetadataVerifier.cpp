#include "TollbrookCore/ImageMetadata/MetadataVerifier.h"

#include <unicode/unistr.h>

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "TollbrookCore/ImageMetadata/ByteSource.h"
#include "TollbrookCore/ImageMetadata/IptcParts.h"
#include "TollbrookCore/ImageMetadata/XmpProperties.h"
#include "TollbrookCore/ImageMetadata/XmpTree.h"

namespace tollbrook::ImageMetadata {
namespace {

std::string withoutProperties(std::string_view packet, const std::vector<XmpProperty>& properties) {
  const auto tree = XmpTree::parse(packet);
  requireSame(tree.has_value());
  for (pugi::xml_node description : tree->descriptions()) {
    for (const XmpProperty& property : properties) {
      for (const auto attribute : attributesNamed(description, property.space, property.name)) {
        description.remove_attribute(attribute);
      }
      for (const auto child : childrenNamed(description, property.space, property.name)) {
        description.remove_child(child);
      }
    }
  }
  return tree->packet();
}

std::string windows1252(const std::string& utf8) {
  const auto text = icu::UnicodeString::fromUTF8(utf8);
  std::string bytes(static_cast<std::size_t>(text.length()), '\0');
  const auto length =
      text.extract(0, text.length(), bytes.data(), static_cast<std::uint32_t>(bytes.size()), "windows-1252");
  bytes.resize(static_cast<std::size_t>(length));
  return bytes;
}

/// Whether one says what the other did. Text may have been put into UTF-8 in between.
bool saysTheSame(const IptcDataset& old, const IptcDataset& now, bool wasLatin1) {
  if (old.record != now.record || old.number != now.number) return false;
  return now.value == old.value || (wasLatin1 && old.isText() && windows1252(now.value) == old.value);
}

/// Whether any reader takes the text for UTF-8: that is said before everything that could be text, and
/// nothing else anywhere.
bool isUtf8ForAll(const std::vector<IptcDataset>& datasets) {
  bool isDeclared = false;
  for (const IptcDataset& dataset : datasets) {
    if (dataset.isCharacterSet()) {
      if (!dataset.value.starts_with("\x1B%")) return false;
      isDeclared = true;
    } else if (dataset.record != 1 && !isDeclared) {
      return false;
    }
  }
  return isDeclared;
}

std::vector<std::string> iptcIn(const PhotoshopResources& resources) {
  std::vector<std::string> found;
  for (const PhotoshopResource& resource : resources.list) {
    if (resource.isIptc()) found.push_back(resource.data);
  }
  return found;
}

/// What stands beside IPTC: all of the resources, and of digests that there are some.
std::vector<std::string> othersIn(const PhotoshopResources& resources) {
  std::vector<std::string> others{resources.rest};
  for (const PhotoshopResource& resource : resources.list) {
    if (resource.isIptc()) continue;
    others.push_back(resource.name);
    if (!resource.isIptcDigest()) others.push_back(resource.data);
  }
  return others;
}

}  // namespace

void verifyXmp(std::string_view before, std::string_view after, const TargetTags& target) {
  const auto properties = xmpProperties(target);
  requireSame(withoutProperties(before, properties) == withoutProperties(after, properties));
}

void verifyIptc(std::string_view before, std::string_view after, std::string_view caption) {
  auto old = parseDatasets(before), now = parseDatasets(after);
  requireSame(isUtf8ForAll(now));
  const auto isCaption = [](const IptcDataset& one) { return one.isCaption(); };
  requireSame(std::count_if(now.begin(), now.end(), isCaption) == 1 &&
              std::find_if(now.begin(), now.end(), isCaption)->value == caption);
  // A new record has a version besides.
  const bool isNew = old.empty();
  const auto isFree = [&](const IptcDataset& one) {
    return one.isCaption() || one.isCharacterSet() || (isNew && one.is(2, 0));
  };
  const bool wasLatin1 = charactersOf(old) == IptcCharacters::latin1;
  std::erase_if(old, isFree);
  std::erase_if(now, isFree);
  requireSame(
      std::equal(old.begin(), old.end(), now.begin(), now.end(),
                 [&](const IptcDataset& a, const IptcDataset& b) { return saysTheSame(a, b, wasLatin1); }));
}

void verifyResources(std::string_view before, std::string_view after,
                     std::optional<std::string_view> caption) {
  const auto old = PhotoshopResources::parse(before), now = PhotoshopResources::parse(after);
  requireSame(othersIn(old) == othersIn(now));
  auto oldIptc = iptcIn(old);
  const auto nowIptc = iptcIn(now);
  if (!caption) return requireSame(oldIptc == nowIptc);
  if (oldIptc.empty()) oldIptc.resize(1);
  requireSame(oldIptc.size() == nowIptc.size());
  for (std::size_t i = 0; i < nowIptc.size(); ++i) verifyIptc(oldIptc[i], nowIptc[i], *caption);
}

}  // namespace tollbrook::ImageMetadata
