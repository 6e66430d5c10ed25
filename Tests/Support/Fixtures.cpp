#include "Support/Fixtures.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "Support/TemporaryFolder.h"

namespace tollbrook::test {
namespace {

constexpr std::array<unsigned char, 159> jpegBytes{
    0xff, 0xd8, 0xff, 0xe0, 0x00, 0x10, 0x4a, 0x46, 0x49, 0x46, 0x00, 0x01, 0x01, 0x00, 0x00, 0x01,
    0x00, 0x01, 0x00, 0x00, 0xff, 0xdb, 0x00, 0x43, 0x00, 0x10, 0x0b, 0x0c, 0x0e, 0x0c, 0x0a, 0x10,
    0x0e, 0x0d, 0x0e, 0x12, 0x11, 0x10, 0x13, 0x18, 0x28, 0x1a, 0x18, 0x16, 0x16, 0x18, 0x31, 0x23,
    0x25, 0x1d, 0x28, 0x3a, 0x33, 0x3d, 0x3c, 0x39, 0x33, 0x38, 0x37, 0x40, 0x48, 0x5c, 0x4e, 0x40,
    0x44, 0x57, 0x45, 0x37, 0x38, 0x50, 0x6d, 0x51, 0x57, 0x5f, 0x62, 0x67, 0x68, 0x67, 0x3e, 0x4d,
    0x71, 0x79, 0x70, 0x64, 0x78, 0x5c, 0x65, 0x67, 0x63, 0xff, 0xc0, 0x00, 0x0b, 0x08, 0x00, 0x08,
    0x00, 0x08, 0x01, 0x01, 0x11, 0x00, 0xff, 0xc4, 0x00, 0x14, 0x00, 0x01, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x01, 0xff, 0xc4, 0x00, 0x14,
    0x10, 0x01, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00, 0x00,
    0x00, 0x00, 0xff, 0xda, 0x00, 0x08, 0x01, 0x01, 0x00, 0x00, 0x3f, 0x00, 0x1f, 0xff, 0xd9};

constexpr std::array<unsigned char, 67> pngBytes{
    0x89, 0x50, 0x4e, 0x47, 0x0d, 0x0a, 0x1a, 0x0a, 0x00, 0x00, 0x00, 0x0d, 0x49, 0x48, 0x44, 0x52, 0x00,
    0x00, 0x00, 0x01, 0x00, 0x00, 0x00, 0x01, 0x08, 0x00, 0x00, 0x00, 0x00, 0x3a, 0x7e, 0x9b, 0x55, 0x00,
    0x00, 0x00, 0x0a, 0x49, 0x44, 0x41, 0x54, 0x08, 0xd7, 0x63, 0xa8, 0x07, 0x00, 0x00, 0x81, 0x00, 0x80,
    0x79, 0x1a, 0x4b, 0x08, 0x00, 0x00, 0x00, 0x00, 0x49, 0x45, 0x4e, 0x44, 0xae, 0x42, 0x60, 0x82};

template <std::size_t n>
std::string text(const std::array<unsigned char, n>& bytes) {
  return {bytes.begin(), bytes.end()};
}

std::string u16(std::uint32_t value) {
  return {static_cast<char>(value >> 8 & 0xff), static_cast<char>(value & 0xff)};
}

std::string u32(std::uint32_t value) { return u16(value >> 16) + u16(value); }

std::string zeros(std::size_t count) { return std::string(count, '\0'); }

std::string box(std::string_view type, const std::string& payload) {
  return u32(static_cast<std::uint32_t>(payload.size() + 8)) + std::string(type) + payload;
}

const std::string unityMatrix = u32(0x10000) + zeros(12) + u32(0x10000) + zeros(12) + u32(0x40000000);

constexpr std::uint32_t timescale = 1000;

std::string sampleTable(std::uint32_t sampleSize, std::uint32_t sampleOffset) {
  const std::string entry =
      box("jpeg", zeros(6) + u16(1) + zeros(16) + u16(8) + u16(8) + u32(0x480000) + u32(0x480000) + zeros(4) +
                      u16(1) + zeros(32) + u16(24) + u16(0xffff));
  return box("stbl", box("stsd", u32(0) + u32(1) + entry) +
                         box("stts", u32(0) + u32(1) + u32(1) + u32(timescale)) +
                         box("stsc", u32(0) + u32(1) + u32(1) + u32(1) + u32(1)) +
                         box("stsz", u32(0) + u32(sampleSize) + u32(1)) +
                         box("stco", u32(0) + u32(1) + u32(sampleOffset)));
}

/// ISO/IEC 14496-12, 8.2: one movie of one track, whose only sample is at `sampleOffset` in the file.
std::string movie(std::uint32_t sampleSize, std::uint32_t sampleOffset) {
  const std::string movieHeader =
      box("mvhd", u32(0) + zeros(8) + u32(timescale) + u32(timescale) + u32(0x10000) + u16(0x100) +
                      zeros(10) + unityMatrix + zeros(24) + u32(2));
  const std::string trackHeader = box("tkhd", u32(7) + zeros(8) + u32(1) + zeros(4) + u32(timescale) +
                                                  zeros(16) + unityMatrix + u32(8 << 16) + u32(8 << 16));
  const std::string mediaHeader =
      box("mdhd", u32(0) + zeros(8) + u32(timescale) + u32(timescale) + u16(0x55c4) + u16(0));
  const std::string handler = box("hdlr", zeros(8) + "vide" + zeros(13));
  const std::string dataReference = box("dinf", box("dref", u32(0) + u32(1) + box("url ", u32(1))));
  const std::string information =
      box("minf", box("vmhd", u32(1) + zeros(8)) + dataReference + sampleTable(sampleSize, sampleOffset));
  return box("moov",
             movieHeader + box("trak", trackHeader + box("mdia", mediaHeader + handler + information)));
}

/// All but the zeros at the end.
std::string mp4Head(std::uint32_t mediaSize) {
  const std::string frame = tinyJpeg();
  const auto frameSize = static_cast<std::uint32_t>(frame.size());
  const std::string type = box("ftyp", "isom" + u32(0x200) + "isommp41");
  // The movie's size does not depend on the offset written into it.
  const auto offset = static_cast<std::uint32_t>(type.size() + movie(frameSize, 0).size() + 8);
  return type + movie(frameSize, offset) + u32(std::max(mediaSize, frameSize) + 8) + "mdat" + frame;
}

std::size_t mp4Size(const std::string& head, std::uint32_t mediaSize) {
  return head.size() - jpegBytes.size() + std::max<std::size_t>(mediaSize, jpegBytes.size());
}

}  // namespace

std::string tinyJpeg() { return text(jpegBytes); }

std::string tinyPng() { return text(pngBytes); }

std::string tinyMp4(std::uint32_t mediaSize) {
  std::string bytes = mp4Head(mediaSize);
  bytes.resize(mp4Size(bytes, mediaSize), '\0');
  return bytes;
}

void writeMp4(const std::filesystem::path& file, std::uint32_t mediaSize) {
  const std::string head = mp4Head(mediaSize);
  writeFile(file, head);
  std::filesystem::resize_file(file, mp4Size(head, mediaSize));
}

}  // namespace tollbrook::test
