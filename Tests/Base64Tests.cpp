#include <gtest/gtest.h>

#include "TollbrookCore/Support/Base64.h"

namespace tollbrook::Base64 {
namespace {

TEST(Base64, HasTheFormsOfItsStandard) {
  // RFC 4648, section 10.
  const std::pair<const char*, const char*> vectors[] = {{"", ""},
                                                         {"f", "Zg=="},
                                                         {"fo", "Zm8="},
                                                         {"foo", "Zm9v"},
                                                         {"foob", "Zm9vYg=="},
                                                         {"fooba", "Zm9vYmE="},
                                                         {"foobar", "Zm9vYmFy"}};
  for (const auto& [bytes, text] : vectors) {
    EXPECT_EQ(encode(bytes), text);
    EXPECT_EQ(decode(text), bytes);
  }
}

TEST(Base64, CarriesEveryByte) {
  std::string bytes;
  for (int value = 0; value < 256; ++value) bytes.push_back(static_cast<char>(value));
  EXPECT_EQ(decode(encode(bytes)), bytes);
}

TEST(Base64, ReadsNothingThatItWouldNotHaveWritten) {
  for (const char* text :
       {"Zg", "Zg=", "Zh==", "Zg==\n", " Zg==", "Zg==Zg==", "Z===", "====", "Zm9-", "Zm 9"}) {
    EXPECT_EQ(decode(text), std::nullopt) << text;
  }
}

}  // namespace
}  // namespace tollbrook::Base64
