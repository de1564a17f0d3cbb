// SPDX-License-Identifier: Apache-2.0
// What the companion shows beside what the system's own tools say of the same machine.
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <nlohmann/json.hpp>
#include <sstream>

#include "ctl/CtlTest.h"
#include "platform/OwnNamespaces.h"
#include "support/ChildProcess.h"

namespace corvanta::test {
namespace {

using Json = nlohmann::ordered_json;
using Pipe = std::unique_ptr<FILE, int (*)(FILE*)>;

Pipe open(const std::string& command) {
    return {::popen(command.c_str(), "r"), ::pclose};  // NOLINT(bugprone-command-processor)
}

std::string outputOf(const std::string& command) {
    const Pipe pipe = open(command);
    std::string output;
    std::array<char, 4096> part;
    while (const std::size_t size = std::fread(part.data(), 1, part.size(), pipe.get())) {
        output.append(part.data(), size);
    }
    return output;
}

/// The numbers among the words of a text.
std::vector<double> numbersOf(const std::string& text) {
    std::vector<double> numbers;
    std::istringstream stream(text);
    for (std::string word; stream >> word;) {
        char* end = nullptr;
        const double number = std::strtod(word.c_str(), &end);
        if (*end == '\0') numbers.push_back(number);
    }
    return numbers;
}

class AgreementTest : public CtlTest {
  protected:
    Json json(const std::string& arguments) const { return Json::parse(ctl("--json " + arguments).out); }
};

TEST_F(AgreementTest, memoryIsThatOfFree) {
    const auto mem = numbersOf(outputOf("LC_ALL=C free -b | grep ^Mem:"));
    const auto swap = numbersOf(outputOf("LC_ALL=C free -b | grep ^Swap:"));
    const Json memory = json("status").at("memory");
    ASSERT_EQ(mem.size(), 6U);
    ASSERT_EQ(swap.size(), 3U);
    const auto figure = [&](const char* name) { return memory.at(name).get<double>(); };
    EXPECT_EQ(figure("total"), mem[0]);
    // Other programs come and go between the two.
    const double change = 0.05 * mem[0];
    EXPECT_NEAR(figure("active") + figure("wired") + figure("compressed"), mem[1], change);
    EXPECT_NEAR(figure("available"), mem[5], change);
    EXPECT_NEAR(figure("swap_used"), swap[1], change);
}

TEST_F(AgreementTest, diskIsThatOfDf) {
    const auto space = numbersOf(outputOf("df -B1 --output=size,avail / | tail -n1"));
    const Json disk = json("status").at("disk");
    ASSERT_EQ(space.size(), 2U);
    EXPECT_EQ(disk.at("total").get<double>(), space[0]);
    EXPECT_NEAR(disk.at("free").get<double>(), space[1], 2e9);  // what others write meanwhile
}

TEST_F(AgreementTest, aProcessIsThatOfPs) {
    constexpr std::size_t size = 100'000'000;
    const auto child = ChildProcess::sleeping([] { std::memset(::malloc(size), 1, size); });
    const std::string id = std::to_string(child.id());
    const auto expected = numbersOf(outputOf("ps -o rss=,nlwp=,cputimes=,pmem= -p " + id));
    ASSERT_EQ(expected.size(), 4U);
    for (const Json& row : json("processes")) {
        if (row.at("pid") != child.id()) continue;
        EXPECT_EQ(row.at("name").get<std::string>() + "\n", outputOf("ps -o comm= -p " + id));
        // The kernel keeps a part of the count for each processor, which only one of its files adds up.
        EXPECT_NEAR(row.at("resident_bytes").get<double>(), 1024 * expected[0], 0.01 * size);
        EXPECT_EQ(row.at("threads").get<double>(), expected[1]);
        EXPECT_EQ(std::floor(row.at("cpu_time").get<double>()), expected[2]);
        EXPECT_NEAR(row.at("ram_usage").get<double>(), expected[3], 0.1);
        return;
    }
    ADD_FAILURE() << "process " << id << " is not listed";
}

TEST_F(AgreementTest, thereAreAsManyProcessesAsPsLists) {
    // Kernel threads, the children of process 2 and that itself, count as one.
    const std::string users = "ps --no-headers -eo pid,ppid | awk '$1 != 2 && $2 != 2' | wc -l";
    const auto count = [&] { return numbersOf(outputOf(users)).at(0); };
    const double before = count();
    const double shown = json("status").at("processes").get<double>();
    EXPECT_NEAR(shown, (before + count()) / 2, 60) << "processes come and go while tests run";
}

/// Sends frames of 1,400 bytes out of an interface, to all and of an unknown protocol, so nothing answers.
bool sendFrames(const std::string& interface, int count) {
    const int descriptor = ::socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, 0);
    if (descriptor < 0) return false;
    const std::vector<unsigned char> frame(1400, 0xff);
    sockaddr_ll address{};
    address.sll_family = AF_PACKET;
    address.sll_ifindex = static_cast<int>(::if_nametoindex(interface.c_str()));
    bool isSent = true;
    for (int i = 0; i < count && isSent; ++i) {
        isSent =
            ::sendto(descriptor, frame.data(), frame.size(), 0, reinterpret_cast<const sockaddr*>(&address),
                     sizeof address) == static_cast<ssize_t>(frame.size());
    }
    ::close(descriptor);
    return isSent;
}

/// The received and sent bytes of eth0, as `ip -s link` has them.
std::array<double, 2> linkBytes() {
    const Json link = Json::parse(outputOf("ip -s -j link show dev eth0")).at(0).at("stats64");
    return {link.at("rx").at("bytes").get<double>(), link.at("tx").at("bytes").get<double>()};
}

TEST_F(AgreementTest, trafficIsThatOfIpLink) {
    user_.setRefreshFrequency(RefreshFrequency::low);
    const std::string folder = user_.folder().string();
    inOwnNamespaces([&] {
        ASSERT_TRUE(
            run("ip link add eth0 type veth peer name peer0 && ip link set eth0 up && "
                "ip link set peer0 up"));
        const auto before = linkBytes();
        const Pipe watch = open("HOME=" + folder + " XDG_CONFIG_HOME=" + user_.configHome() +
                                " exec " CORVANTACTL_PROGRAM " --json watch");
        std::array<char, 65536> line;
        double received = 0;
        double sent = 0;
        double last = 0;
        for (int i = 0; i < 4; ++i) {
            ASSERT_NE(std::fgets(line.data(), line.size(), watch.get()), nullptr);
            const Json sample = Json::parse(line.data());
            const double now = sample.at("timestamp").get<double>();
            if (i > 0) {
                received += sample.at("network").at("download").get<double>() * (now - last);
                sent += sample.at("network").at("upload").get<double>() * (now - last);
            }
            last = now;
            // The bursts stand well inside the measured time, which is all the time that there is traffic.
            if (i == 0) {
                ASSERT_TRUE(sendFrames("eth0", 2000));
                ASSERT_TRUE(sendFrames("peer0", 5000));
            }
        }
        const auto after = linkBytes();
        EXPECT_GE(after[0] - before[0], 5000 * 1400.0);
        EXPECT_NEAR(received, after[0] - before[0], 0.05 * (after[0] - before[0]));
        EXPECT_NEAR(sent, after[1] - before[1], 0.05 * (after[1] - before[1]));
    });
}

}  // namespace
}  // namespace corvanta::test
