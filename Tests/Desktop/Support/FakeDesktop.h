#pragma once

#include <QStringList>
#include <optional>
#include <utility>
#include <vector>

#include "Tollbrook/Desktop/Announcer.h"
#include "Tollbrook/Desktop/FileManager.h"
#include "Tollbrook/Desktop/FolderChooser.h"
#include "Tollbrook/Desktop/KeepAwake.h"

/// Desktop services that remember what was asked of them.
namespace tollbrook::test {

class FakeKeepAwake : public KeepAwake {
 public:
  std::unique_ptr<Activity> begin(const QString& reason) override {
    reasons.push_back(reason);
    return std::make_unique<Counted>(running);
  }

  std::vector<QString> reasons;  ///< of every activity that was begun
  int running = 0;               ///< activities that have not ended

 private:
  class Counted : public Activity {
   public:
    explicit Counted(int& running) : running_(running) { ++running_; }
    ~Counted() override { --running_; }

   private:
    int& running_;
  };
};

class FakeAnnouncer : public Announcer {
 public:
  void announce(QWidget&, const QString& text) override { texts.append(text); }

  QStringList texts;
};

class FakeFileManager : public FileManager {
 public:
  void reveal(const std::filesystem::path& file) override { revealed.push_back(file); }

  std::vector<std::filesystem::path> revealed;
};

/// Answers at once with `answer`; as a user who cancels when there is none.
class FakeFolderChooser : public FolderChooser {
 public:
  void choose(const QString& promptText, const QString& messageText, Chosen chosen) override {
    ++asked;
    prompt = promptText;
    message = messageText;
    if (answer) chosen(*answer);
  }

  std::optional<std::filesystem::path> answer;
  int asked = 0;
  QString prompt;
  QString message;
};

}  // namespace tollbrook::test
