#pragma once
// AppStateBridge: posts the two application notifications that
// AppStateService listens to from Qt's application state: leaving the active
// state posts UIApplicationWillResignActiveNotification, becoming active
// posts UIApplicationDidBecomeActiveNotification. Make one after the
// QApplication and keep it while the loop runs.

#include <QObject>

namespace tavrel::ui {

class AppStateBridge : public QObject {
  Q_OBJECT
 public:
  AppStateBridge();

  // What the bridge does with a change of state; Qt calls it.
  void applicationStateChanged(Qt::ApplicationState state);

 private:
  bool active_;
};

}  // namespace tavrel::ui
