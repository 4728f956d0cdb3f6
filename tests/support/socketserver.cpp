#include "socketserver.h"

#include <QByteArray>

#include <cstring>

#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

std::unique_ptr<SocketServer> SocketServer::unixAt(const QString& path, bool listening) {
    auto server = std::unique_ptr<SocketServer>(new SocketServer(AF_UNIX));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const QByteArray name = path.toLocal8Bit();
    if (server->fd < 0 || size_t(name.size()) >= sizeof(address.sun_path)) {
        return nullptr;
    }
    memcpy(address.sun_path, name.constData(), size_t(name.size()));
    if (::bind(server->fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        (listening && ::listen(server->fd, 4) != 0)) {
        return nullptr;
    }
    if (!listening) {
        server->close();
    }
    return server;
}

std::unique_ptr<SocketServer> SocketServer::tcp() {
    auto server = std::unique_ptr<SocketServer>(new SocketServer(AF_INET));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof(address);
    if (server->fd < 0 ||
        ::bind(server->fd, reinterpret_cast<sockaddr*>(&address), sizeof(address)) != 0 ||
        ::listen(server->fd, 4) != 0 ||
        ::getsockname(server->fd, reinterpret_cast<sockaddr*>(&address), &length) != 0) {
        return nullptr;
    }
    server->port = ntohs(address.sin_port);
    return server;
}

SocketServer::~SocketServer() {
    close();
}

void SocketServer::close() {
    if (fd >= 0) {
        ::close(fd);
        fd = -1;
    }
}

SocketServer::SocketServer(int domain)
    : fd(::socket(domain, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
