#include "platform/LinuxServiceManagerNotifier.h"

#include <stddef.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "platform/LinuxSystemUtils.h"
#include "platform/Logger.h"
#include "platform/TextConversion.h"

LinuxServiceManagerNotifier::LinuxServiceManagerNotifier() {
    const char* value = std::getenv("NOTIFY_SOCKET");
    if (value == nullptr || *value == '\0') {
        return;
    }
    socketName_ = value;
    ::unsetenv("NOTIFY_SOCKET");
    if (socketName_[0] == '@') {
        address_ = std::string(1, '\0') + socketName_.substr(1);
    } else if (socketName_[0] == '/') {
        address_ = socketName_;
    } else {
        unusable_ = L"neither an absolute path nor an abstract name";
        return;
    }
    if (address_.size() >= sizeof(sockaddr_un::sun_path)) {
        unusable_ = L"the name is too long";
        address_.clear();
    }
}

bool LinuxServiceManagerNotifier::isListening() const {
    return !socketName_.empty();
}

void LinuxServiceManagerNotifier::notify(const std::wstring& message) {
    if (socketName_.empty()) {
        return;
    }
    std::wstring error = unusable_;
    if (error.empty()) {
        sockaddr_un peer{};
        peer.sun_family = AF_UNIX;
        std::memcpy(peer.sun_path, address_.data(), address_.size());
        const socklen_t length =
            static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + address_.size());
        const std::string text = toUtf8(message);
        const int socket = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        if (socket < 0 || ::sendto(socket, text.data(), text.size(), MSG_NOSIGNAL,
                                   reinterpret_cast<const sockaddr*>(&peer), length) < 0) {
            error = LinuxSystemUtils::errorText(errno);
        }
        if (socket >= 0) {
            ::close(socket);
        }
    }
    // A service manager that cannot be told is no reason to stop the service; one
    // line says why it hears nothing.
    if (!error.empty() && !failureLogged_.exchange(true)) {
        LOG_WARN(L"LinuxServiceManagerNotifier", L"Cannot notify the service manager",
                 L"NOTIFY_SOCKET", toWide(socketName_), L"error", error);
        getLogger().flush();
    }
}
