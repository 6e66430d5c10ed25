#include "Tollbrook/TollbrookApp.h"

#include <utility>

#include "Tollbrook/Paths.h"

namespace tollbrook {

TollbrookApp::TollbrookApp() : TollbrookApp(Desktop{}) {}

TollbrookApp::TollbrookApp(Desktop desktop)
    : desktop_(std::move(desktop)),
      model_(*desktop_.keepAwake, *desktop_.folderChooser),
      window_(model_, *desktop_.fileManager, *desktop_.announcer) {}

void TollbrookApp::open(const std::optional<std::filesystem::path>& folder) {
  if (folder) model_.setFolder(*folder);
  window_.show();
  model_.attemptAutoResume();
}

static_assert(SingleInstance::Limits().closing > MainWindow::patience,
              "a later start outwaits a closing window");

SingleInstance::Answer TollbrookApp::takeOver(const std::optional<std::filesystem::path>& folder) {
  if (window_.isClosing()) return SingleInstance::Answer::closing;
  window_.bringToFront();
  // The window already shows what is asked for.
  if (model_.isBusy() && folder == model_.folder()) return SingleInstance::Answer::raised;
  if (!folder) return SingleInstance::Answer::raised;
  if (model_.isBusy()) {
    window_.sayBusy(*folder);
    return SingleInstance::Answer::busy;
  }
  model_.acceptDrop({Paths::toUrl(*folder)});
  return SingleInstance::Answer::opened;
}

}  // namespace tollbrook
