// SPDX-License-Identifier: Apache-2.0
#include "ctl/Terminal.h"

#include <fcntl.h>
#include <pty.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <vector>

namespace corvanta::test {
namespace {

/// Texts as the system wants them, followed by a null pointer.
class PointerList {
  public:
    explicit PointerList(const QStringList& texts) {
        for (const QString& text : texts) texts_.push_back(text.toStdString());
        for (std::string& text : texts_) pointers_.push_back(text.data());
        pointers_.push_back(nullptr);
    }
    char** get() { return pointers_.data(); }

  private:
    std::vector<std::string> texts_;
    std::vector<char*> pointers_;
};

}  // namespace

Terminal::Terminal(const std::string& binary, const QStringList& arguments,
                   const QProcessEnvironment& environment) {
    PointerList argumentList(QStringList(QString::fromStdString(binary)) + arguments);
    PointerList environmentList(environment.toStringList());
    const winsize size = {50, 200, 0, 0};
    pid_ = ::forkpty(&terminal_, nullptr, nullptr, &size);
    if (pid_ == 0) {
        ::prctl(PR_SET_PDEATHSIG, SIGKILL);
        ::execve(binary.c_str(), argumentList.get(), environmentList.get());
        ::_exit(127);
    }
    ::fcntl(terminal_, F_SETFL, O_NONBLOCK);
}

Terminal::~Terminal() {
    if (!hasEnded_ && pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    ::close(terminal_);
}

void Terminal::type(char c) {
    // A terminal takes one character at any time.
    if (::write(terminal_, &c, 1) != 1) ::kill(pid_, SIGKILL);
}

bool Terminal::await(const std::function<bool(const std::string& shown)>& condition) {
    return eventually([&] {
        read();
        return condition(shown_);
    });
}

int Terminal::exitCode() {
    hasEnded_ = hasEnded_ || eventually([this] {
                    read();
                    return ::waitpid(pid_, &status_, WNOHANG) == pid_;
                });
    read();
    return hasEnded_ && WIFEXITED(status_) ? WEXITSTATUS(status_) : -1;
}

void Terminal::read() {
    char buffer[4096];
    ssize_t size = 0;
    while ((size = ::read(terminal_, buffer, sizeof buffer)) > 0) {
        shown_.append(buffer, static_cast<std::size_t>(size));
    }
}

}  // namespace corvanta::test
