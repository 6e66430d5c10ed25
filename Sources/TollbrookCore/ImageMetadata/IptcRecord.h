#pragma once

#include <string>
#include <string_view>

/// IPTC captions: the datasets of the Information Interchange Model (IIM 4.2) and the Photoshop image
/// resources in which they stand. Pure functions; Refused for what cannot be read. What they return has been
/// read again and compared.
namespace tollbrook::ImageMetadata {

/// The datasets with Caption-Abstract (2:120) set to `caption`, in UTF-8 as CodedCharacterSet (1:90) then
/// says; text that stood there in another character set is transcoded. Padding at the end is left out.
std::string withIptcCaption(std::string_view datasets, std::string_view caption);

/// The image resources with the caption in their IPTC resource (0x0404), which is added where there is none;
/// all others stay as they are, but for a digest of the IPTC resource (0x0425), which is renewed.
std::string withCaptionInResources(std::string_view resources, std::string_view caption);

/// The image resources with a digest of these datasets, which stand elsewhere, if they have one at all.
std::string withDigestOf(std::string_view datasets, std::string_view resources);

/// Whether there is a caption among the datasets; in the IPTC of the resources.
bool haveIptcCaption(std::string_view datasets);
bool haveCaptionInResources(std::string_view resources);

/// Whether these bytes are whole resources from the first to the last.
bool areResources(std::string_view bytes);

/// Whether there is an IPTC resource among these.
bool haveIptcResource(std::string_view resources);

}  // namespace tollbrook::ImageMetadata
