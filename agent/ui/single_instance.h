#pragma once

#include <QObject>
#include <QString>

class QLocalServer;

namespace tarn::agent::ui {

// One agent per desktop session (the instance lock decides which): the running agent
// listens on a local socket; a later launch finds it there, asks it to show its settings
// window and leaves.
class SingleInstance final : public QObject {
    Q_OBJECT
  public:
    explicit SingleInstance(QString socketPath, QObject* parent = nullptr);
    ~SingleInstance() override;

    // Asks the agent listening on the socket to show its settings; false when none answers
    // (the running agent is headless).
    bool handOver();
    // Listens for later launches; false when no socket could be made (nothing is shown to
    // them then).
    bool listen();

    // The socket for this user and display, in the runtime directory.
    static QString defaultSocketPath();

  signals:
    void showSettingsRequested();

  private:
    QString path_;
    QLocalServer* server_ = nullptr;
};

}  // namespace tarn::agent::ui
