// SPDX-License-Identifier: Apache-2.0
#include "platform/linux/NetlinkCounterSource.h"

#include <linux/netlink.h>
#include <linux/rtnetlink.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "platform/linux/LinkDump.h"

namespace corvanta {
namespace {

constexpr int mostAttempts = 3;
// The kernel fills datagrams of a dump up to this size, unless a single interface needs more.
constexpr std::size_t firstBuffer = std::size_t{32} * 1024;
constexpr std::size_t largestBuffer = std::size_t{4} << 20;
// More datagrams than any number of interfaces fills.
constexpr int mostDatagrams = 100'000;

}  // namespace

int NetlinkCounterSource::openRouteSocket() {
    const int descriptor = socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_ROUTE);
    // The kernel answers before the request returns; a wait would mean that it never will.
    const timeval longestWait{1, 0};
    if (descriptor >= 0) {
        setsockopt(descriptor, SOL_SOCKET, SO_RCVTIMEO, &longestWait, sizeof longestWait);
    }
    return descriptor;
}

NetlinkCounterSource::NetlinkCounterSource(const std::string& procRoot, const std::string& sysRoot,
                                           OpenSocket openSocket)
    : openSocket_(std::move(openSocket)), buffer_(firstBuffer), fallback_(procRoot, sysRoot) {}

NetlinkCounterSource::~NetlinkCounterSource() {
    closeSocket();
}

bool NetlinkCounterSource::readInterfaces(std::vector<InterfaceReading>& interfaces) {
    interfaces.clear();
    if (!readLinks()) return false;
    canonicalise(links_, interfaces);
    return true;
}

bool NetlinkCounterSource::readLinks() {
    for (int attempt = 0; attempt < mostAttempts; ++attempt) {
        const Outcome outcome = dump();
        if (outcome == Outcome::complete) return true;
        // What is left of a failed dump must not mix with the next one.
        if (outcome == Outcome::failed) closeSocket();
    }
    return fallback_.read(links_);
}

NetlinkCounterSource::Outcome NetlinkCounterSource::dump() {
    if (socket_ < 0) socket_ = openSocket_();
    if (socket_ < 0 || !sendRequest()) return Outcome::failed;
    return receiveDump();
}

bool NetlinkCounterSource::sendRequest() {
    struct {
        nlmsghdr header;
        ifinfomsg body;
    } request{};
    request.header.nlmsg_len = sizeof request;
    request.header.nlmsg_type = RTM_GETLINK;
    request.header.nlmsg_flags = NLM_F_REQUEST | NLM_F_DUMP;
    request.header.nlmsg_seq = ++sequence_;
    request.body.ifi_family = AF_UNSPEC;
    ssize_t sent = 0;
    do {
        sent = send(socket_, &request, sizeof request, MSG_NOSIGNAL);
    } while (sent < 0 && errno == EINTR);
    return sent == static_cast<ssize_t>(sizeof request);
}

NetlinkCounterSource::Outcome NetlinkCounterSource::receiveDump() {
    links_.clear();
    bool isInterrupted = false;
    for (int datagram = 0; datagram < mostDatagrams; ++datagram) {
        ssize_t got = 0;
        do {
            got = recv(socket_, buffer_.data(), buffer_.size(), MSG_TRUNC);
        } while (got < 0 && errno == EINTR);
        if (got <= 0) return Outcome::failed;
        const auto length = static_cast<std::size_t>(got);
        if (length > buffer_.size()) {
            if (length <= largestBuffer) buffer_.resize(length);
            return Outcome::failed;
        }
        const LinkDumpPart part = parseLinkDump({buffer_.data(), length}, sequence_, links_);
        if (part.isBroken) return Outcome::failed;
        isInterrupted |= part.isInterrupted;
        if (part.isLast) return isInterrupted ? Outcome::interrupted : Outcome::complete;
    }
    return Outcome::failed;
}

void NetlinkCounterSource::closeSocket() {
    if (socket_ >= 0) close(std::exchange(socket_, -1));
}

}  // namespace corvanta
