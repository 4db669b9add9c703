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

bool SingleInstance::handOver() {
    QLocalSocket running;
    running.connectToServer(path_);
    if (!running.waitForConnected(kWaitMs)) return false;
    running.write(kShowSettings);
    running.waitForBytesWritten(kWaitMs);
    running.disconnectFromServer();
    return true;
}

bool SingleInstance::listen() {
    // The instance lock is ours: a socket file still there was left by an agent that ended.
    QLocalServer::removeServer(path_);
    server_ = new QLocalServer(this);
    server_->setSocketOptions(QLocalServer::UserAccessOption);
    if (!server_->listen(path_)) return false;
    connect(server_, &QLocalServer::newConnection, this, [this] {
        while (QLocalSocket* client = server_->nextPendingConnection()) {
            connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
            connect(client, &QLocalSocket::readyRead, this, [this, client] {
                if (client->readAll().contains("show-settings")) emit showSettingsRequested();
            });
        }
    });
    return true;
}

}  // namespace tarn::agent::ui
