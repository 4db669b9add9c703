#pragma once

#include <QObject>
#include <QString>

class QLocalServer;

namespace tarn::agent::ui {

// One agent per desktop session. The first to start listens on a local socket; a later one
// finds it there, asks it to show its settings window and leaves.
class SingleInstance final : public QObject {
    Q_OBJECT
  public:
    enum class Role { first, another, unavailable };

    explicit SingleInstance(QString socketPath, QObject* parent = nullptr);
    ~SingleInstance() override;

    // Becomes the session's agent, or (Role::another) has told the running one to show its
    // settings. `unavailable` when no socket could be made: the agent then runs alone.
    Role claim();

    // The socket for this user and display, in the runtime directory.
    static QString defaultSocketPath();

  signals:
    void showSettingsRequested();

  private:
    QString path_;
    QLocalServer* server_ = nullptr;
};

}  // namespace tarn::agent::ui
