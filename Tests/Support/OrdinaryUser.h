#pragma once

#include <filesystem>

namespace tollbrook::test {

/// An ordinary user's rights for as long as this lives, on everything below `folder`. Modes stop no root.
class OrdinaryUser {
 public:
  explicit OrdinaryUser(const std::filesystem::path& folder);
  ~OrdinaryUser();
  OrdinaryUser(const OrdinaryUser&) = delete;
  OrdinaryUser& operator=(const OrdinaryUser&) = delete;

 private:
  const bool wasRoot_;
};

}  // namespace tollbrook::test
