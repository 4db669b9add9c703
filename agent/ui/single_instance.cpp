#include "agent/ui/single_instance.h"

#include <unistd.h>
#include <QDir>
#include <QLocalServer>
#include <QLocalSocket>
#include <QStandardPaths>

namespace tarn::agent::ui {
namespace {

constexpr int kWaitMs = 1000;
const QByteArray kShowSettings = "show-settings\n";

}  // namespace

SingleInstance::SingleInstance(QString socketPath, QObject* parent)
    : QObject(parent), path_(std::move(socketPath)) {}

SingleInstance::~SingleInstance() = default;

QString SingleInstance::defaultSocketPath() {
    QString dir = qEnvironmentVariable("XDG_RUNTIME_DIR");
    if (dir.isEmpty() || !QDir(dir).exists()) dir = QDir::tempPath();
    QString display = qEnvironmentVariable("DISPLAY", "none");
    display.replace('/', '_').replace(':', '_');
    return QStringLiteral("%1/wendle-%2-%3.socket").arg(dir).arg(getuid()).arg(display);
}

SingleInstance::Role SingleInstance::claim() {
    {
        QLocalSocket running;
        running.connectToServer(path_);
        if (running.waitForConnected(kWaitMs)) {
            running.write(kShowSettings);
            running.waitForBytesWritten(kWaitMs);
            running.disconnectFromServer();
            return Role::another;
        }
    }
    // Nobody answers: a socket file left by an agent that ended is in the way.
    QLocalServer::removeServer(path_);
    server_ = new QLocalServer(this);
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_->listen(path_)) return Role::unavailable;
    connect(server_, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* client = server_->nextPendingConnection()) {
            connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
            connect(client, &QLocalSocket::readyRead, this, [this, client] {
                if (client->readAll().contains("show-settings")) emit showSettingsRequested();
            });
        }
    });
    return Role::first;
}

}  // namespace tarn::agent::ui
