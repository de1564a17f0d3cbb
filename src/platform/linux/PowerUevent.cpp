// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/PowerUevent.h"

#include <linux/netlink.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>

namespace corvanta {
namespace {

// The kernel's announcements. The second group repeats them in another form, once udev has looked at them.
constexpr unsigned kernelGroup = 1;
// More than the kernel puts into one announcement.
constexpr std::size_t bufferSize = std::size_t{8} * 1024;

/// Takes what stands before the next zero byte, or the rest, off the front of `text`.
std::string_view takeField(std::string_view& text) {
    const auto end = text.find('\0');
    const std::string_view field = text.substr(0, end);
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
    return field;
}

}  // namespace

std::optional<PowerUevent> parsePowerUevent(std::string_view message) {
    PowerUevent event;
    const std::string_view header = takeField(message);
    const auto at = header.find('@');
    if (at == std::string_view::npos) return std::nullopt;
    event.action = header.substr(0, at);
    bool isPowerSupply = false;
    while (!message.empty()) {
        const std::string_view field = takeField(message);
        const auto equals = field.find('=');
        if (equals == std::string_view::npos) continue;
        const std::string_view key = field.substr(0, equals);
        const std::string_view value = field.substr(equals + 1);
        if (key == "SUBSYSTEM") isPowerSupply = value == "power_supply";
        if (key == "POWER_SUPPLY_NAME") event.name = value;
        if (key == "POWER_SUPPLY_STATUS") event.status = value;
        if (key == "POWER_SUPPLY_ONLINE") event.online = value;
        if (key == "POWER_SUPPLY_SCOPE" && value == "Device") return std::nullopt;
    }
    if (!isPowerSupply || event.name.empty()) return std::nullopt;
    return event;
}

bool PowerUeventFilter::isChange(const PowerUevent& event) {
    if (event.action == "remove") {
        if (const auto known = states_.find(event.name); known != states_.end()) states_.erase(known);
        return true;
    }
    const std::string state = std::string(event.status) + '\n' + std::string(event.online);
    const auto known = states_.find(event.name);
    if (known == states_.end()) {
        states_.emplace(event.name, state);
        return true;
    }
    const bool isSame = known->second == state && event.action == "change";
    known->second = state;
    return !isSame;
}

UeventSocket::~UeventSocket() {
    if (descriptor_ >= 0) close(descriptor_);
}

UeventSocket::Outcome UeventSocket::receive(std::string_view& message) {
    buffer_.resize(bufferSize);
    while (descriptor_ >= 0) {
        sockaddr_nl sender{};
        socklen_t senderSize = sizeof sender;
        const ssize_t got = recvfrom(descriptor_, buffer_.data(), buffer_.size(), 0,
                                     reinterpret_cast<sockaddr*>(&sender), &senderSize);
        if (got < 0) {
            if (errno == EINTR) continue;
            if (errno == ENOBUFS) return Outcome::lost;
            return errno == EAGAIN ? Outcome::none : Outcome::failed;
        }
        // The kernel writes the sender's address itself, and only its own is zero.
        if (senderSize != sizeof sender || sender.nl_pid != 0) continue;
        message = std::string_view(buffer_.data(), static_cast<std::size_t>(got));
        return Outcome::message;
    }
    return Outcome::failed;
}

int UeventSocket::openKernelSocket() {
    const int descriptor =
        socket(AF_NETLINK, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, NETLINK_KOBJECT_UEVENT);
    if (descriptor < 0) return -1;
    sockaddr_nl address{};
    address.nl_family = AF_NETLINK;
    address.nl_groups = kernelGroup;
    if (bind(descriptor, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) return descriptor;
    close(descriptor);
    return -1;
}

}  // namespace corvanta
