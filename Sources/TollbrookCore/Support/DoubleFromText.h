#pragma once

#include <optional>
#include <string_view>

namespace tollbrook {

/// The double nearest to the number that `text` is as a whole, as strtod reads it in the C locale (ISO C
/// 7.22.1.3): decimal, hexadecimal, "inf" and "nan" in any case; a number that is too large is infinite. None
/// for the empty text, leading white space, and anything before or behind the number. Takes time in
/// proportion to the text's length. Any thread; the process's locale does not matter.
std::optional<double> doubleFromText(std::string_view text);

}  // namespace tollbrook
