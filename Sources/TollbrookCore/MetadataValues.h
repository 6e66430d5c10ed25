#pragma once

#include <string>

#include "TollbrookCore/Models.h"

/// How the values of a sidecar are put into words, for every route that writes them into a file. Pure
/// functions, callable from any thread.
namespace tollbrook::MetadataWriter {

/// The EXIF date-time form "YYYY:MM:DD HH:MM:SS" in UTC, 19 characters, fractions dropped (Exif 2.32, 4.6.4,
/// DateTimeOriginal). A time that has no such form (not finite, outside the years 1 to 9999) gives zeros
/// throughout.
std::string exifStamp(TimePoint date);

/// The shortest decimal text that reads back as the same double: plain with ".0" where whole for magnitudes
/// from 1e-4 up to 1e16 and for zero, in exponent form ("1e-05", "1e+16") outside.
std::string numberText(double value);

/// `data` without the values that no reader could take: a time that is not finite or outside the years 1 to
/// 9999, a position that is not finite or not on the globe, an altitude that is not finite or does not fit
/// the unsigned 32-bit numerator of an EXIF rational (in whole metres). An altitude goes with its position.
SidecarData writable(const SidecarData& data);

}  // namespace tollbrook::MetadataWriter
