#include "agent/ui/single_instance.h"

#include <fcntl.h>
#include <unistd.h>

#include <QLocalServer>
#include <QLocalSocket>

namespace tarn::agent::ui {

SingleInstance::SingleInstance(QObject* parent) : QObject(parent) {}

SingleInstance::~SingleInstance() = default;

bool SingleInstance::listen(int socketFd) {
    // Qt closes the descriptor it listens on when the server goes: it gets a copy, and the
    // lock keeps its own (the name stays bound while either is open).
    int copy = ::fcntl(socketFd, F_DUPFD_CLOEXEC, 0);
    if (copy < 0) return false;
    server_ = new QLocalServer(this);
    if (!server_->listen(copy)) {
        ::close(copy);
        return false;
    }
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
