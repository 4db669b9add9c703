#pragma once

#include <QObject>

class QLocalServer;

namespace tarn::agent::ui {

// One agent per user and desktop (the instance lock decides which, see
// agent/instance_lock.h): the running agent listens on the lock's own socket; a later launch
// connects to it, asks it to show its settings window and leaves.
class SingleInstance final : public QObject {
    Q_OBJECT
  public:
    explicit SingleInstance(QObject* parent = nullptr);
    ~SingleInstance() override;

    // Serves later launches on the instance lock's listening socket (which stays the
    // lock's: it is not closed here). False when Qt cannot take it (nothing is shown to them
    // then).
    bool listen(int socketFd);

  signals:
    void showSettingsRequested();

  private:
    QLocalServer* server_ = nullptr;
};

}  // namespace tarn::agent::ui
