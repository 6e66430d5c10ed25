#include "TollbrookCore/ImageMetadata/ImageWriter.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <random>
#include <string_view>
#include <system_error>
#include <utility>

#include "TollbrookCore/ImageMetadata/Heif.h"
#include "TollbrookCore/ImageMetadata/Jpeg.h"
#include "TollbrookCore/ImageMetadata/Png.h"
#include "TollbrookCore/ImageMetadata/Tiff.h"
#include "TollbrookCore/Support/Files.h"
#include "TollbrookCore/Support/Platform.h"
#include "TollbrookCore/TemporaryNames.h"

namespace tollbrook::ImageMetadata {
namespace {

struct Container {
  bool (*recognizes)(std::string_view start);
  OutputPlan (*plan)(const ByteSource& file, const TargetTags& target);
};
constexpr std::array containers{
    Container{Jpeg::recognizes, Jpeg::plan}, Container{Png::recognizes, Png::plan},
    Container{Tiff::recognizes, Tiff::plan}, Container{Heif::recognizes, Heif::plan}};

[[noreturn]] void fail(std::error_code error) { throw std::system_error(error); }

/// A random UUID (RFC 4122, version 4) in capitals.
std::string randomUuid() {
  // Opening one costs far more than drawing from it.
  thread_local std::random_device random;
  const auto a = random(), b = random(), c = random(), d = random();
  return fmt::format("{:08X}-{:04X}-4{:03X}-{:04X}-{:04X}{:08X}", a, b >> 16, b & 0xFFF,
                     (c >> 16 & 0x3FFF) | 0x8000, c & 0xFFFF, d);
}

/// A new file beside the one that it is to replace; removed again unless it does.
class TemporaryFile {
 public:
  /// By this prefix the walk over a folder knows what an interrupted write left.
  explicit TemporaryFile(const std::filesystem::path& beside)
      : path_(beside.parent_path() /
              (std::string(TemporaryNames::builtInPrefix) + randomUuid() + beside.extension().native())),
        file_(open(path_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600)) {
    if (!file_) fail(Files::lastError());
  }
  ~TemporaryFile() {
    if (!path_.empty()) unlink(path_.c_str());
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  int descriptor() const { return file_.get(); }

  void finish() {
    if (const auto error = Platform::forceToDisk(file_.get())) fail(error);
    if (const auto error = file_.close()) fail(error);
  }

  void replace(const std::filesystem::path& file) {
    if (std::rename(path_.c_str(), file.c_str()) != 0) fail(Files::lastError());
    path_.clear();
  }

 private:
  std::filesystem::path path_;
  Files::Descriptor file_;
};

struct stat statusOf(int descriptor) {
  struct stat status {};
  if (fstat(descriptor, &status) != 0) fail(Files::lastError());
  return status;
}

/// Whether the file is still the one that was read, and as it was.
bool isStill(const struct stat& before, const std::filesystem::path& file) {
  struct stat now {};
  return lstat(file.c_str(), &now) == 0 && now.st_dev == before.st_dev && now.st_ino == before.st_ino &&
         now.st_size == before.st_size && Platform::lastChange(now) == Platform::lastChange(before);
}

}  // namespace

OutputPlan plan(const ByteSource& file, const TargetTags& target) {
  const std::string start = file.readUpTo(0, 16);
  for (const Container& container : containers) {
    if (!container.recognizes(start)) continue;
    return target.isEmpty() ? OutputPlan::copyOf(file) : container.plan(file, target);
  }
  throw Refused("this is no image of a known kind");
}

void writeImage(const std::filesystem::path& file, const TargetTags& target) {
  const Files::Descriptor image(open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  if (!image) fail(Files::lastError());
  const struct stat before = statusOf(image.get());
  const FileSource source(image.get());
  const OutputPlan result = plan(source, target);
  if (result.isUnchanged()) return;
  auto attributes = Platform::readAttributes(image.get());
  if (!attributes) fail(Files::lastError());
  // A flag may forbid to rename the file that has it.
  const std::uint32_t flags = std::exchange(attributes->flags, 0);

  TemporaryFile temporary(file);
  result.copyTo(temporary.descriptor(), 0, result.size());
  // What cannot be given to the new file is lost without a word, as with every program that rewrites a file.
  Platform::applyAttributes(temporary.descriptor(), *attributes);
  Platform::copyTimes(image.get(), temporary.descriptor());
  temporary.finish();
  if (!isStill(before, file)) throw Refused("somebody else changed the file");
  temporary.replace(file);
  if (flags != 0) {
    attributes->flags = flags;
    const Files::Descriptor replaced(open(file.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    if (replaced) Platform::applyAttributes(replaced.get(), *attributes);
  }
  // The file is replaced, whatever becomes of this; who must know forces the folder again.
  Files::syncFolder(file.parent_path().empty() ? "." : file.parent_path());
}

}  // namespace tollbrook::ImageMetadata
