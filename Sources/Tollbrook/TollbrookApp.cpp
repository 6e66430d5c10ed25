#include "Tollbrook/TollbrookApp.h"

#include <utility>

#include "Tollbrook/Paths.h"

namespace tollbrook {

TollbrookApp::TollbrookApp() : TollbrookApp(Desktop{}) {}

TollbrookApp::TollbrookApp(Desktop desktop)
    : desktop_(std::move(desktop)),
      model_(*desktop_.keepAwake, *desktop_.folderChooser),
      window_(model_, *desktop_.fileManager) {}

void TollbrookApp::open(const std::optional<std::filesystem::path>& folder) {
  if (folder) model_.setFolder(*folder);
  window_.show();
  model_.attemptAutoResume();
}

SingleInstance::Answer TollbrookApp::takeOver(const std::optional<std::filesystem::path>& folder) {
  window_.bringToFront();
  if (!folder) return SingleInstance::Answer::raised;
  if (model_.isBusy()) {
    window_.sayBusy(*folder);
    return SingleInstance::Answer::busy;
  }
  model_.acceptDrop({Paths::toUrl(*folder)});
  return SingleInstance::Answer::opened;
}

}  // namespace tollbrook
