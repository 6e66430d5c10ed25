// A program that runs exiftool (or what stands in for it) until it is killed, for the tests of what becomes
// of its child: Parent session|once EXIFTOOL FILE

#include <unistd.h>

#include <string>

#include "TollbrookCore/ExifTool.h"

int main(int count, char** words) {
  using namespace tollbrook;
  if (count != 4) return 2;
  const SidecarData data{.takenTime = fromEpoch(0)};
  if (std::string(words[1]) == "once") return ExifTool::writeOnce(words[3], data, {}, words[2]) ? 0 : 1;
  const auto session = ExifTool::Session::start(words[2]);
  if (!session || !session->write(words[3], data, {})) return 1;
  while (true) pause();
}
