#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace tollbrook::test {

/// A HEIF file to be made: any layout that the standard allows, with data that need be no picture.
struct HeifShape {
  struct Item {
    std::uint32_t id;
    std::string type;
    std::string data;
    bool isHidden = false;
    bool isImage = true;          ///< has an extent among its properties
    bool inItemData = false;      ///< in the meta box, not in the media data
    std::size_t parts = 1;        ///< that its data lie in
    std::string contentType;      ///< of a "mime" item
    std::string contentEncoding;  ///< of a "mime" item
    std::uint32_t width = 64;     ///< of an image, in pixels; those of one width share the property
  };
  struct Reference {
    std::string type;
    std::uint32_t from;
    std::vector<std::uint32_t> to;
  };
  struct Group {
    std::string type;
    std::uint32_t id;
    std::vector<std::uint32_t> entities;
  };

  std::string major = "heic";
  std::vector<std::string> brands{"mif1", "heic"};
  std::uint32_t primary = 1;
  std::vector<Item> items{{.id = 1, .type = "hvc1", .data = "the picture"}};
  std::vector<Reference> references;
  std::vector<Group> groups;

  unsigned locationVersion = 0;  ///< 0 to 2
  std::size_t offsetWidth = 4;   ///< each 0, 4 or 8
  std::size_t lengthWidth = 4;   ///< 0 fits one image in the media data, which then reaches to the end
  std::size_t baseWidth = 0;
  std::size_t indexWidth = 0;
  bool hasReferenceTable = true;
  unsigned dataReference = 0;    ///< of all items
  unsigned itemInfoVersion = 2;  ///< 2, or 3 for wide numbers

  bool metaIsLast = false;     ///< behind the media data
  bool lastBoxIsOpen = false;  ///< stored with the size 0
  std::string beforeMeta;      ///< whole boxes
  std::string behindMeta;
  std::string trailer;  ///< behind everything else
};

/// The bytes of the file. Numbers are written as the shape says, fitting or not.
std::string makeHeif(const HeifShape& shape);

/// A box, for the parts of a shape.
std::string isoBox(const std::string& type, const std::string& content);

/// An Exif item's data: the offset of the TIFF header, "Exif", and a block that names a maker, "Acme".
std::string exifItem();
/// That block alone, big-endian.
std::string exifBlock();

}  // namespace tollbrook::test
