#include "Support/OrdinaryUser.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace tollbrook::test {

OrdinaryUser::OrdinaryUser(const std::filesystem::path& folder) : wasRoot_(geteuid() == 0) {
  if (!wasRoot_) return;
  constexpr uid_t nobody = 65534;
  EXPECT_EQ(lchown(folder.c_str(), nobody, nobody), 0);
  for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
    EXPECT_EQ(lchown(entry.path().c_str(), nobody, nobody), 0);
  }
  EXPECT_EQ(seteuid(nobody), 0);
}

OrdinaryUser::~OrdinaryUser() {
  if (wasRoot_) {
    EXPECT_EQ(seteuid(0), 0);
  }
}

}  // namespace tollbrook::test
