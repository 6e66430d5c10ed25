#pragma once

#include <cstdint>
#include <filesystem>
#include <string>

namespace tollbrook::test {

/// The smallest valid files of their kinds, without any metadata; every writer can add to them.

/// A grey JPEG of 8 x 8 pixels.
std::string tinyJpeg();

/// A grey PNG of one pixel.
std::string tinyPng();

/// An MP4 of one video frame (tinyJpeg, one second long). Its media data box has `mediaSize` bytes of payload
/// (at least the frame; zeros follow it), so that rewriting the file takes as long as wished.
std::string tinyMp4(std::uint32_t mediaSize);

/// The same written to `file`, the zeros as a hole where the file system has holes.
void writeMp4(const std::filesystem::path& file, std::uint32_t mediaSize);

}  // namespace tollbrook::test
