#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "TollbrookCore/Models.h"

namespace tollbrook {
namespace {

TEST(MediaKind, IsInferredFromTheExtensionInAnyCase) {
  EXPECT_EQ(inferMediaKind("JPG"), MediaKind::image);
  EXPECT_EQ(inferMediaKind("Heic"), MediaKind::image);
  EXPECT_EQ(inferMediaKind("MP4"), MediaKind::video);
  EXPECT_EQ(inferMediaKind("m2ts"), MediaKind::video);
  EXPECT_EQ(inferMediaKind(""), MediaKind::other);
  EXPECT_EQ(inferMediaKind("json"), MediaKind::other);
  EXPECT_EQ(inferMediaKind("jpe"), MediaKind::other);
  EXPECT_EQ(inferMediaKind("3g2"), MediaKind::other);
  EXPECT_EQ(inferMediaKind("jpegs"), MediaKind::other);
}

TEST(MediaKind, KnowsEveryListedExtension) {
  for (const char* extension : {"jpg", "jpeg", "png", "gif", "heic", "heif", "tif", "tiff", "bmp", "webp",
                                "dng", "raw", "cr2", "cr3", "nef", "arw", "orf", "rw2", "raf"}) {
    EXPECT_EQ(inferMediaKind(extension), MediaKind::image) << extension;
  }
  for (const char* extension :
       {"mp4", "mov", "m4v", "avi", "mkv", "webm", "mpg", "mpeg", "3gp", "mts", "m2ts", "hevc"}) {
    EXPECT_EQ(inferMediaKind(extension), MediaKind::video) << extension;
  }
}

TEST(MediaKind, LowerCasesTheKelvinSign) { EXPECT_EQ(inferMediaKind("M\u212aV"), MediaKind::video); }

TEST(MediaKind, OfAFileIsThatOfTheTextAfterItsLastDot) {
  EXPECT_EQ(inferMediaKindFrom("/photos.old/IMG_1.tar.JPEG"), MediaKind::image);
  EXPECT_EQ(inferMediaKindFrom("/photos/IMG_1.jpg_exiftool_tmp"), MediaKind::other);
  EXPECT_EQ(inferMediaKindFrom("/photos.jpg/IMG_1"), MediaKind::other);
  EXPECT_EQ(inferMediaKindFrom("/photos/IMG_1."), MediaKind::other);
}

TEST(MediaKind, ALeadingDotStartsNoExtension) {
  EXPECT_EQ(fileExtension(".jpg"), "");
  EXPECT_EQ(fileExtension(".a.jpg"), "jpg");
  EXPECT_EQ(inferMediaKindFrom("/photos/.jpg"), MediaKind::other);
}

TEST(MediaKind, RawValuesAreExact) {
  for (const MediaKind kind : {MediaKind::image, MediaKind::video, MediaKind::other}) {
    EXPECT_EQ(mediaKindFromRawValue(rawValue(kind)), kind);
  }
  EXPECT_EQ(rawValue(MediaKind::video), "video");
  EXPECT_EQ(mediaKindFromRawValue("Image"), std::nullopt);
  EXPECT_EQ(mediaKindFromRawValue(""), std::nullopt);
  EXPECT_TRUE(isMedia(MediaKind::image));
  EXPECT_TRUE(isMedia(MediaKind::video));
  EXPECT_FALSE(isMedia(MediaKind::other));
}

TEST(PairStatus, RawValuesAreExact) {
  const std::pair<PairStatus, const char*> expected[] = {{PairStatus::ready, "ready"},
                                                         {PairStatus::unmatched, "unmatched"},
                                                         {PairStatus::skipped, "skipped"},
                                                         {PairStatus::fixed, "fixed"},
                                                         {PairStatus::error, "error"}};
  for (const auto& [status, raw] : expected) {
    EXPECT_EQ(rawValue(status), raw);
    EXPECT_EQ(pairStatusFromRawValue(raw), status);
  }
  EXPECT_EQ(pairStatusFromRawValue("Ready"), std::nullopt);
}

TEST(SidecarData, ATitleAloneIsNothingUsable) {
  const SidecarData data{.title = "IMG_1.jpg"};
  EXPECT_FALSE(data.hasAnything());
  EXPECT_FALSE(data.hasGPS());
}

TEST(SidecarData, APositionNeedsBothCoordinates) {
  SidecarData data{.latitude = 48.1};
  EXPECT_FALSE(data.hasGPS());
  EXPECT_FALSE(data.hasAnything());
  data.altitude = 500;
  EXPECT_FALSE(data.hasAnything());
  data.longitude = 11.5;
  EXPECT_TRUE(data.hasGPS());
  EXPECT_TRUE(data.hasAnything());
}

TEST(SidecarData, AnEmptyCaptionIsNothingUsable) {
  SidecarData data{.caption = ""};
  EXPECT_FALSE(data.hasAnything());
  data.caption = "x";
  EXPECT_TRUE(data.hasAnything());
}

TEST(MediaPair, IsReadyOnlyWithUsableData) {
  const SidecarData data{.takenTime = fromEpoch(0)};
  MediaPair pair("/p/a.jpg", "/p/a.jpg.json", MediaKind::image, data, PairStatus::ready, std::nullopt);
  EXPECT_EQ(pair.id, "/p/a.jpg");
  EXPECT_TRUE(pair.isReady());
  pair.data = SidecarData{};
  EXPECT_FALSE(pair.isReady());
  pair.data.reset();
  EXPECT_FALSE(pair.isReady());
  pair.data = data;
  pair.status = PairStatus::fixed;
  EXPECT_FALSE(pair.isReady());
}

TEST(RestoreOptions, SurviveEncodingAndDecoding) {
  const RestoreOptions options = defaultRestoreOptions();
  EXPECT_EQ(encode(options).size(), 6u);
  EXPECT_EQ(decodeRestoreOptions(encode(options)), options);
}

TEST(RestoreOptions, DecodeOnlyAsAWhole) {
  EXPECT_EQ(decodeRestoreOptions({{"writeFileDates", true}}), std::nullopt);
  EXPECT_EQ(decodeRestoreOptions(nlohmann::json::array()), std::nullopt);
  const nlohmann::json complete = encode(defaultRestoreOptions());
  for (const auto& [key, value] : complete.items()) {
    nlohmann::json missing = complete;
    missing.erase(key);
    EXPECT_EQ(decodeRestoreOptions(missing), std::nullopt) << key;
    nlohmann::json mistyped = complete;
    mistyped[key] = "true";
    EXPECT_EQ(decodeRestoreOptions(mistyped), std::nullopt) << key;
    mistyped[key] = key == "dateTolerance" ? nlohmann::json(true) : nlohmann::json(1);
    EXPECT_EQ(decodeRestoreOptions(mistyped), std::nullopt) << key;
  }
}

TEST(RestoreOptions, IgnoreUnknownKeysAndTakeIntegersAsTolerance) {
  nlohmann::json json = encode(defaultRestoreOptions());
  json["unknown"] = 1;
  json["dateTolerance"] = 2;
  ASSERT_TRUE(decodeRestoreOptions(json));
  EXPECT_EQ(decodeRestoreOptions(json)->dateTolerance, 2.0);
}

TEST(RestoreOptions, DifferInToleranceAlone) {
  RestoreOptions other = defaultRestoreOptions();
  other.dateTolerance = 3;
  EXPECT_NE(other, defaultRestoreOptions());
}

TEST(RestoreOutcome, StartsEmpty) {
  const RestoreOutcome outcome;
  EXPECT_EQ(outcome.attempted + outcome.datesSet + outcome.embeddedWritten + outcome.skipped +
                outcome.deletedSidecars + outcome.alreadyDone + outcome.failed,
            0);
  EXPECT_FALSE(outcome.cancelled);
  EXPECT_TRUE(outcome.errors.empty());
  EXPECT_EQ(WorkProgress().currentName, std::nullopt);
}

}  // namespace
}  // namespace tollbrook
