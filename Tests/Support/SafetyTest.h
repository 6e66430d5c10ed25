#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Support/CommandLine.h"
#include "Support/Program.h"
#include "Support/ReadBack.h"
#include "Support/Sidecars.h"
#include "Support/TemporaryFolder.h"

namespace tollbrook::test {

/// A photo or video made for a test, and what its sidecar wants in it.
struct Photo {
  std::filesystem::path path;
  SidecarContents wanted;
  std::string imageData;  ///< as imageDataOf reads it; empty where nobody compares it
};

/// The part of a file that no writer of metadata may change: from the scan on (JPEG), the header and pixel
/// chunks (PNG), the media data box and whether the movie's sample is where its table says (MP4). Empty when
/// the file is not whole. For files small enough to be read at once.
std::string imageDataOf(const std::filesystem::path& file);

/// Whether exiftool's reading holds all that the sidecar wanted.
testing::AssertionResult carries(const nlohmann::json& metadata, const SidecarContents& wanted);
/// Whether the file was last modified when its photo was taken.
testing::AssertionResult isDated(const std::filesystem::path& file, const SidecarContents& wanted);

/// An export and a job store of its own, and the command line on it.
class SafetyTest : public testing::Test {
 protected:
  /// In the folder for temporary files, or in `parent`.
  explicit SafetyTest(const std::filesystem::path& parent = std::filesystem::temp_directory_path());

  std::filesystem::path root() const { return folder_.path(); }
  std::filesystem::path store() const { return commandLine_.store(); }
  std::filesystem::path operator/(std::string_view name) const { return folder_ / name; }

  /// A photo of the kind that its name says, with a sidecar of its own contents.
  Photo addPhoto(std::string_view name);
  Photo addPhoto(std::string_view name, const SidecarContents& wanted);
  /// A video of so many bytes of media data, most of them zeros, with marks in the middle and at its end.
  Photo addVideo(std::string_view name, std::uint32_t mediaSize);
  /// Whether the media data of such a video is what addVideo made, byte for byte.
  static testing::AssertionResult isWholeVideo(const Photo& video, std::uint32_t mediaSize);

  /// The command line with the test's job store.
  Program::Call command(std::vector<std::string> arguments) const {
    return commandLine_.call(std::move(arguments));
  }
  Program::Result run(std::vector<std::string> arguments) const {
    return commandLine_.run(std::move(arguments));
  }

  /// The job directory of the export, or of another folder; empty when no record names it.
  std::filesystem::path job(const std::filesystem::path& folder) const { return commandLine_.job(folder); }
  std::filesystem::path job() const { return job(root()); }
  /// Its record; null when there is none.
  nlohmann::json record() const { return commandLine_.record(root()); }
  /// The whole lines of its done.log behind the header.
  std::vector<std::string> finished() const;

  /// Temporary files below the export.
  std::vector<std::string> leftovers() const;
  /// Whether a writer is at work: its temporary file exists and has at least so many bytes.
  bool isBeingWritten(std::uintmax_t bytes = 0) const;

  /// Whether every photo is whole and, by exiftool's reading, carries its metadata, and nothing is left over.
  void expectAllRestored(const std::vector<Photo>& photos) const;

 private:
  TemporaryFolder folder_;
  CommandLine commandLine_;
  std::int64_t made_ = 0;
};

}  // namespace tollbrook::test
