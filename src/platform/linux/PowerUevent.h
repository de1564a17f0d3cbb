// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace corvanta {

/// What the kernel has announced of one of the machine's own power supplies. The views are the message's.
struct PowerUevent {
    std::string_view action;  ///< "add", "change", "remove" or another
    std::string_view name;
    std::string_view status;  ///< of a battery; empty when not told, as the next
    std::string_view online;  ///< of a supply from outside

    bool operator==(const PowerUevent&) const = default;
};

/// Absent for anything else: another subsystem, a peripheral's battery, a supply without a name, nonsense.
std::optional<PowerUevent> parsePowerUevent(std::string_view message);

/// Tells plugging in and out, and batteries that come, go, start or cease to charge, from the many
/// announcements of a charge that moves.
///
/// Owned by the listener. One thread at a time.
class PowerUeventFilter {
  public:
    bool isChange(const PowerUevent& event);

  private:
    std::map<std::string, std::string, std::less<>> states_;  // by the supply's name
};

/// The kernel's announcements of devices.
///
/// Owned by the listener. One thread at a time. Without a socket there are none.
class UeventSocket {
  public:
    enum class Outcome {
        message,
        lost,    ///< the kernel had more to tell than the socket holds
        none,    ///< nothing more at present
        failed,  ///< nor ever again
    };

    /// Takes what is open, or -1.
    explicit UeventSocket(int descriptor = openKernelSocket()) : descriptor_(descriptor) {}
    virtual ~UeventSocket();
    UeventSocket(const UeventSocket&) = delete;
    UeventSocket& operator=(const UeventSocket&) = delete;

    /// To wait at until it is readable; -1 without a socket.
    int descriptor() const { return descriptor_; }

    /// Never waits. The message lasts until the next call. What others than the kernel have sent is passed
    /// over.
    virtual Outcome receive(std::string_view& message);

    /// A socket that does not wait, or -1. Needs no privilege.
    static int openKernelSocket();

  private:
    int descriptor_;
    std::vector<char> buffer_;
};

}  // namespace corvanta
