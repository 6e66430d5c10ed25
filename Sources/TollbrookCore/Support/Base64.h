#pragma once

#include <optional>
#include <string>
#include <string_view>

/// Base64 with padding (RFC 4648, section 4). Any thread.
namespace tollbrook::Base64 {

std::string encode(std::string_view bytes);

/// The bytes; none unless `text` is exactly what `encode` makes of them.
std::optional<std::string> decode(std::string_view text);

}  // namespace tollbrook::Base64
