#pragma once

#include <unicode/utypes.h>

#include <string>
#include <string_view>

/// The bridge between UTF-8 text and the Unicode library, for the sources of Text only.
namespace tollbrook::Text::Utf16 {

/// The text in UTF-16, each byte that is no UTF-8 as a lone trail surrogate: a character of its own, without
/// case, without equivalents.
std::u16string from(std::string_view text);

/// The way back; lone trail surrogates from `from` become the bytes that they were.
std::string toUtf8(std::u16string_view units);

/// Throws std::runtime_error naming the operation when the status is a failure.
void require(UErrorCode status, const char* what);

}  // namespace tollbrook::Text::Utf16
