#include "TollbrookCore/ImageMetadata/OutputPlan.h"

#include <algorithm>
#include <cstring>
#include <system_error>
#include <utility>

#include "TollbrookCore/Support/Files.h"

namespace tollbrook::ImageMetadata {
namespace {

constexpr std::size_t mostGathered = std::size_t{64} << 10;

}  // namespace

OutputPlan OutputPlan::copyOf(const ByteSource& source) {
  OutputPlan plan(source);
  plan.copy(0, source.size());
  return plan;
}

void OutputPlan::copy(std::uint64_t offset, std::uint64_t length) {
  if (!source_->contains(offset, length)) throw Refused("something lies past the end");
  if (!extents_.empty() && !extents_.back().isNew() &&
      extents_.back().sourceOffset + extents_.back().length == offset) {
    extents_.back().length += length;
    setSize(sum(size(), length));
    return;
  }
  append({.start = size(), .length = length, .sourceOffset = offset, .bytes = {}});
}

void OutputPlan::add(std::string bytes) {
  const std::uint64_t length = bytes.size();
  append({.start = size(), .length = length, .sourceOffset = 0, .bytes = std::move(bytes)});
}

void OutputPlan::append(Extent extent) {
  if (extent.length == 0) return;
  setSize(sum(size(), extent.length));
  extents_.push_back(std::move(extent));
}

void OutputPlan::overwrite(std::uint64_t offset, std::string bytes) {
  if (!contains(offset, bytes.size())) throw Refused("something lies past the end");
  if (bytes.empty()) return;
  const std::uint64_t length = bytes.size();
  const auto at = [this](std::size_t index) { return extents_.begin() + static_cast<std::ptrdiff_t>(index); };
  const std::size_t first = cutAt(offset);
  const std::size_t end = cutAt(offset + length);
  extents_.erase(at(first), at(end));
  extents_.insert(at(first),
                  {.start = offset, .length = length, .sourceOffset = 0, .bytes = std::move(bytes)});
}

std::vector<OutputPlan::Extent>::const_iterator OutputPlan::extentAt(std::uint64_t offset) const {
  return std::prev(
      std::upper_bound(extents_.begin(), extents_.end(), offset,
                       [](std::uint64_t wanted, const Extent& extent) { return wanted < extent.start; }));
}

std::size_t OutputPlan::cutAt(std::uint64_t offset) {
  if (offset == size()) return extents_.size();
  const auto index = static_cast<std::size_t>(extentAt(offset) - extents_.cbegin());
  Extent& left = extents_[index];
  const std::uint64_t kept = offset - left.start;
  if (kept == 0) return index;
  Extent right{.start = offset,
               .length = left.length - kept,
               .sourceOffset = left.sourceOffset + kept,
               .bytes = left.isNew() ? left.bytes.substr(kept) : std::string()};
  if (left.isNew()) left.bytes.resize(kept);
  left.length = kept;
  extents_.insert(extents_.begin() + static_cast<std::ptrdiff_t>(index + 1), std::move(right));
  return index + 1;
}

template <typename Visit>
void OutputPlan::forEachPart(std::uint64_t offset, std::uint64_t length, const Visit& visit) const {
  if (length == 0) return;
  for (auto extent = extentAt(offset); length > 0; ++extent) {
    const std::uint64_t skipped = offset - extent->start;
    const std::uint64_t count = std::min(length, extent->length - skipped);
    visit(*extent, skipped, count);
    offset += count;
    length -= count;
  }
}

void OutputPlan::readInside(std::uint64_t offset, char* bytes, std::size_t length) const {
  forEachPart(offset, length, [&](const Extent& extent, std::uint64_t skipped, std::uint64_t count) {
    if (extent.isNew()) {
      std::memcpy(bytes, extent.bytes.data() + skipped, count);
    } else {
      const std::string part = source_->read(extent.sourceOffset + skipped, count);
      std::memcpy(bytes, part.data(), count);
    }
    bytes += count;
  });
}

void OutputPlan::copyInside(int descriptor, std::uint64_t offset, std::uint64_t length) const {
  // Small parts are written together.
  constexpr std::uint64_t smallPart = 4096;
  std::string gathered;
  const auto writeGathered = [&] {
    if (const auto error = Files::writeAll(descriptor, gathered)) throw std::system_error(error);
    gathered.clear();
  };
  forEachPart(offset, length, [&](const Extent& extent, std::uint64_t skipped, std::uint64_t count) {
    if (extent.isNew()) {
      gathered.append(extent.bytes, skipped, count);
    } else if (count < smallPart) {
      gathered += source_->read(extent.sourceOffset + skipped, count);
    } else {
      writeGathered();
      source_->copyTo(descriptor, extent.sourceOffset + skipped, count);
    }
    if (gathered.size() >= mostGathered) writeGathered();
  });
  writeGathered();
}

bool OutputPlan::holds(std::uint64_t offset, std::uint64_t sourceOffset, std::uint64_t length) const {
  if (!contains(offset, length)) throw Refused("something lies past the end");
  bool isSame = true;
  forEachPart(offset, length, [&](const Extent& extent, std::uint64_t skipped, std::uint64_t count) {
    const bool isCopied = !extent.isNew() && extent.sourceOffset + skipped == sourceOffset;
    isSame = isSame && (isCopied || sameBytes(*this, extent.start + skipped, *source_, sourceOffset, count));
    sourceOffset += count;
  });
  return isSame;
}

bool OutputPlan::isUnchanged() const { return size() == source_->size() && holds(0, 0, size()); }

}  // namespace tollbrook::ImageMetadata
