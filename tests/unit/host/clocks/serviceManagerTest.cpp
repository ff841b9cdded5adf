// Tests of reports to the service manager.
// SPDX-License-Identifier: LicenseRef-HalvexTimekeeper
#include "host/clocks/serviceManager.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstddef>

#include "tests/support/test.h"

namespace halvexctl::serviceManagerTest {

/// A service manager that listens at a path, or at an abstract address ("@...").
class ServiceManagerTest : public testing::Test {
protected:
    ~ServiceManagerTest() override {
        ::close(socket_);
        ::unsetenv("NOTIFY_SOCKET");
    }

    void listenAt(const std::string& path) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        path.copy(address.sun_path, sizeof address.sun_path - 1);
        if (path.front() == '@') address.sun_path[0] = '\0';
        const auto size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + path.size());
        ASSERT_EQ(::bind(socket_, reinterpret_cast<const sockaddr*>(&address), size), 0);
        ::setenv("NOTIFY_SOCKET", path.c_str(), 1);
    }
    std::string heard() const {
        std::string text(200, '\0');
        const ssize_t length = ::recv(socket_, text.data(), text.size(), MSG_DONTWAIT);
        return text.substr(0, length < 0 ? 0 : static_cast<std::size_t>(length));
    }

    const int socket_ = ::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
};

TEST_F(ServiceManagerTest, HearsWhatIsReportedAtAPath) {
    const std::string path = testing::TempDir() + "notify" + std::to_string(::getpid());
    listenAt(path);
    notifyServiceManager("READY=1\nSTATUS=aligned");
    EXPECT_EQ(heard(), "READY=1\nSTATUS=aligned");
    ::unlink(path.c_str());
}

TEST_F(ServiceManagerTest, HearsWhatIsReportedAtAnAbstractAddress) {
    listenAt("@halvexNotify" + std::to_string(::getpid()));
    notifyServiceManager("WATCHDOG=1");
    EXPECT_EQ(heard(), "WATCHDOG=1");
}

TEST_F(ServiceManagerTest, IsLeftAloneByAProgramThatItDidNotStart) { EXPECT_NO_THROW(notifyServiceManager("READY=1")); }

TEST_F(ServiceManagerTest, ThatDoesNotListenIsAnError) {
    ::setenv("NOTIFY_SOCKET", "/nonexistent/notify", 1);
    EXPECT_THROW(notifyServiceManager("READY=1"), std::system_error);
}

}  // namespace halvexctl::serviceManagerTest
