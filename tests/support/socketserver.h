#pragma once

#include <QString>

#include <memory>

// A server socket of our own: listening, or (closed, file left behind) as a killed server
// leaves it.
class SocketServer {
public:
    static std::unique_ptr<SocketServer> unixAt(const QString& path, bool listening);
    // Listens on a free port of the loopback address; 0 when there is none.
    static std::unique_ptr<SocketServer> tcp();
    ~SocketServer();
    void close();
    int port = 0;

private:
    explicit SocketServer(int domain);
    int fd;
};
