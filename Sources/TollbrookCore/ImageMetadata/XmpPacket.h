#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "TollbrookCore/ImageMetadata/TargetTags.h"

/// XMP packets (ISO 16684-1), as they stand in a file, from wrapper to wrapper or without. Pure functions;
/// what they return has been read again and compared. Refused is a packet larger than any sound one.
namespace tollbrook::ImageMetadata {

/// What stands before a packet in JPEG files, and where one came from there.
constexpr std::string_view xmpHeader{"http://ns.adobe.com/xap/1.0/\0", 29};

/// The packet with those of its properties brought into line that mean the same as a target tag, so that no
/// reader shows the old value. None when nothing is to change, and when the packet cannot be read: it then
/// stays as it is. Refused when something else would change.
std::optional<std::string> updatedXmp(std::string_view packet, const TargetTags& target);

/// The same, and the caption is put in as dc:description when the packet has none.
std::optional<std::string> updatedXmpWithCaption(std::string_view packet, const TargetTags& target);

/// Whether a packet begins somewhere in these bytes; one in UTF-16 or UTF-32 is not seen.
bool holdsXmp(std::string_view bytes);

/// A new packet that holds the caption as dc:description, for containers without a place for IPTC.
std::string newXmp(std::string_view caption);

}  // namespace tollbrook::ImageMetadata
