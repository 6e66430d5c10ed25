#include "TollbrookCore/Support/Base64.h"

#include <openssl/evp.h>

#include <limits>

namespace tollbrook::Base64 {

std::string encode(std::string_view bytes) {
  std::string text((bytes.size() + 2) / 3 * 4 + 1, '\0');  // OpenSSL ends it with a NUL
  const int length =
      EVP_EncodeBlock(reinterpret_cast<unsigned char*>(text.data()),
                      reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

std::optional<std::string> decode(std::string_view text) {
  if (text.size() % 4 != 0 || text.size() > std::numeric_limits<int>::max()) return std::nullopt;
  std::string bytes(text.size() / 4 * 3, '\0');
  const int length =
      EVP_DecodeBlock(reinterpret_cast<unsigned char*>(bytes.data()),
                      reinterpret_cast<const unsigned char*>(text.data()), static_cast<int>(text.size()));
  // OpenSSL passes over white space at the ends and counts padding as bytes of zero.
  if (length != static_cast<int>(bytes.size())) return std::nullopt;
  for (std::size_t i = 0; i < 2 && i < text.size() && text[text.size() - 1 - i] == '='; ++i) bytes.pop_back();
  if (encode(bytes) != text) return std::nullopt;
  return bytes;
}

}  // namespace tollbrook::Base64
