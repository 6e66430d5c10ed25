#pragma once

#include <memory>

class QString;
class QWidget;

namespace tollbrook {

/// What speaks to those who do not see the window. Main thread only.
class Announcer {
 public:
  virtual ~Announcer() = default;

  /// Has screen readers speak `text`, wherever the focus is. Returns at once; nothing happens where none is
  /// running.
  virtual void announce(QWidget& window, const QString& text) = 0;
};

/// That of the system that the program runs on.
std::unique_ptr<Announcer> systemAnnouncer();

}  // namespace tollbrook
