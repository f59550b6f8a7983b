// SPDX-License-Identifier: GPL-3.0-or-later
// Another local user's tools against Quorvel's command channel, for tst_otheruser; not a test.
//
//   squatter listen PATH...  listens at every PATH (as a local socket anyone may reach),
//                            prints "ready", then "connection PATH" for each connection and
//                            answers each command as if it had carried it out
//   squatter file PATH...    puts a plain file at every PATH, prints "ready" and waits
//   squatter send PATH       connects to PATH, sends a command and prints what came back:
//                            "answer N" (N bytes) or "refused"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace {

bool addressOf(const char *path, sockaddr_un *address)
{
    std::memset(address, 0, sizeof *address);
    address->sun_family = AF_UNIX;
    if (std::strlen(path) >= sizeof address->sun_path)
        return false;
    std::strcpy(address->sun_path, path);
    return true;
}

std::string frame(const std::string &payload)
{
    const unsigned size = unsigned(payload.size());
    std::string message(4, '\0');
    message[0] = char(size >> 24);
    message[1] = char(size >> 16);
    message[2] = char(size >> 8);
    message[3] = char(size);
    return message + payload;
}

int listenAt(const std::vector<const char *> &paths)
{
    std::vector<pollfd> fds;
    for (const char *path : paths) {
        sockaddr_un address;
        if (!addressOf(path, &address))
            return 2;
        ::unlink(path);
        const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
        if (fd < 0 || ::bind(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0
            || ::listen(fd, 16) != 0) {
            std::fprintf(stderr, "cannot listen at %s: %s\n", path, std::strerror(errno));
            return 1;
        }
        ::chmod(path, 0777);
        fds.push_back({fd, POLLIN, 0});
    }
    std::printf("ready\n");
    std::fflush(stdout);
    // A made-up answer: done, with words that no Quorvel says.
    const std::string answer
        = "T" + frame(std::string("0\0", 2) + "13" + std::string(1, '\0') + "Pretended it.");
    for (;;) {
        if (::poll(fds.data(), fds.size(), -1) < 0 && errno != EINTR)
            return 1;
        for (size_t i = 0; i < fds.size(); ++i) {
            if (!(fds[i].revents & POLLIN))
                continue;
            const int client = ::accept(fds[i].fd, nullptr, nullptr);
            if (client < 0)
                continue;
            std::printf("connection %s\n", paths[i]);
            std::fflush(stdout);
            char buffer[4096];
            pollfd reading = {client, POLLIN, 0};
            if (::poll(&reading, 1, 2000) > 0 && ::read(client, buffer, sizeof buffer) > 0)
                ::send(client, answer.data(), answer.size(), MSG_NOSIGNAL);
            ::close(client);
        }
    }
}

int plainFiles(const std::vector<const char *> &paths)
{
    for (const char *path : paths) {
        ::unlink(path);
        const int fd = ::open(path, O_WRONLY | O_CREAT | O_EXCL, 0666);
        if (fd < 0) {
            std::fprintf(stderr, "cannot create %s: %s\n", path, std::strerror(errno));
            return 1;
        }
        ::fchmod(fd, 0666);
        ::close(fd);
    }
    std::printf("ready\n");
    std::fflush(stdout);
    for (;;)
        ::pause();
}

int send(const char *path)
{
    sockaddr_un address;
    if (!addressOf(path, &address))
        return 2;
    const int fd = ::socket(AF_UNIX, SOCK_STREAM, 0);
    if (::connect(fd, reinterpret_cast<sockaddr *>(&address), sizeof address) != 0) {
        std::printf("cannot connect: %s\n", std::strerror(errno));
        return 0;
    }
    const std::string payload = std::string("quorvel-command\0/\0start\0Alpha\0", 30);
    const std::string message = frame(payload);
    ::send(fd, message.data(), message.size(), MSG_NOSIGNAL);
    std::string received;
    char buffer[4096];
    pollfd reading = {fd, POLLIN, 0};
    while (::poll(&reading, 1, 5000) > 0) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n <= 0)
            break;
        received.append(buffer, size_t(n));
    }
    if (received.empty())
        std::printf("refused\n");
    else
        std::printf("answer %zu\n", received.size());
    return 0;
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc < 3)
        return 2;
    const std::string what = argv[1];
    const std::vector<const char *> paths(argv + 2, argv + argc);
    if (what == "listen")
        return listenAt(paths);
    if (what == "file")
        return plainFiles(paths);
    if (what == "send")
        return send(argv[2]);
    return 2;
}
