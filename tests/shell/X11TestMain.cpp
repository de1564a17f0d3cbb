// SPDX-License-Identifier: Apache-2.0
// Gives the tests an X server and a window manager of their own. Without them nothing is tested and the
// program fails.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <QApplication>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

namespace {

/// A program that runs as long as this object.
class Child {
  public:
    explicit Child(std::vector<std::string> command) {
        std::vector<char*> arguments;
        for (std::string& word : command) arguments.push_back(word.data());
        arguments.push_back(nullptr);
        pid_ = ::fork();
        if (pid_ == 0) {
            ::prctl(PR_SET_PDEATHSIG, SIGKILL);
            const int nowhere = ::open("/dev/null", O_WRONLY);
            ::dup2(nowhere, STDOUT_FILENO);
            ::dup2(nowhere, STDERR_FILENO);
            ::execvp(arguments[0], arguments.data());
            ::_exit(127);
        }
    }
    ~Child() {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

  private:
    pid_t pid_ = -1;
};

/// The number of the display that a new X server has chosen; empty if none could be started.
std::string readDisplay(int descriptor) {
    std::string number;
    char c = 0;
    while (::read(descriptor, &c, 1) == 1 && c != '\n') number += c;
    return number;
}

bool waitForWindowManager() {
    xcb_connection_t* connection = xcb_connect(nullptr, nullptr);
    const xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    constexpr const char* name = "_NET_SUPPORTING_WM_CHECK";
    auto* atom = xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(std::strlen(name)), name),
        nullptr);
    bool runs = false;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (atom != nullptr && !runs && std::chrono::steady_clock::now() < deadline) {
        auto* reply = xcb_get_property_reply(
            connection, xcb_get_property(connection, 0, root, atom->atom, XCB_ATOM_WINDOW, 0, 1), nullptr);
        runs = reply != nullptr && reply->value_len == 1;
        std::free(reply);
        if (!runs) std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    std::free(atom);
    xcb_disconnect(connection);
    return runs;
}

}  // namespace

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);

    int ends[2];
    if (::pipe(ends) != 0) return 1;
    const Child server(
        {"Xvfb", "-displayfd", std::to_string(ends[1]), "-screen", "0", "1280x800x24", "-nolisten", "tcp"});
    ::close(ends[1]);
    const std::string number = readDisplay(ends[0]);
    ::close(ends[0]);
    if (number.empty()) {
        std::fputs("Xvfb does not start\n", stderr);
        return 1;
    }
    ::setenv("DISPLAY", (":" + number).c_str(), 1);
    const Child windowManager({"openbox", "--sm-disable", "--config-file", "/dev/null"});
    if (!waitForWindowManager()) {
        std::fputs("openbox does not start\n", stderr);
        return 1;
    }

    ::setenv("QT_QPA_PLATFORM", "xcb", 1);
    // Qt's accessibility bridge has no business on the session bus of whoever runs the tests.
    ::setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent", 1);
    const QApplication application(argc, argv);
    QApplication::setQuitOnLastWindowClosed(false);
    return RUN_ALL_TESTS();
}
