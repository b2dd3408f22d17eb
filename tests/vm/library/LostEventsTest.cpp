#include <linux/capability.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

#include "CameraFixture.h"

namespace nubrix::vm {

namespace {

// The test's script has made what a socket may hold small.
class LostEvents : public CameraFixture {
protected:
    // Who may administer the network gets a buffer of any size.
    static void SetUpTestSuite()
    {
        __user_cap_header_struct header = {_LINUX_CAPABILITY_VERSION_3, 0};
        __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
        ASSERT_EQ(::syscall(SYS_capget, &header, sets), 0);
        sets[0].effective &= ~(1U << static_cast<unsigned int>(CAP_NET_ADMIN));
        ASSERT_EQ(::syscall(SYS_capset, &header, sets), 0);
    }

    // The camera went, came, went and so on.
    void expectTurns()
    {
        const std::vector<Change> all = changes();
        for (std::size_t i = 0; i < all.size(); ++i) {
            EXPECT_EQ(all[i].state, i % 2 ? NUBRIX_DEVICE_CONNECTED : NUBRIX_DEVICE_DISCONNECTED)
                << i;
        }
    }

    // None of its nodes is missing.
    void expectWhole()
    {
        NubrixDevice *camera = open();
        for (const unsigned int type :
             {NUBRIX_STREAM_DEPTH, NUBRIX_STREAM_COLOR, NUBRIX_STREAM_IR}) {
            const typedefNubrixFrameMode *modes = nullptr;
            unsigned int count = 0;
            EXPECT_EQ(m_context->getSupportFrameMode(camera, type, &modes, &count), 0);
            EXPECT_GT(count, 0U) << "stream " << type;
        }
        EXPECT_EQ(m_context->closeDevice(camera), 0);
    }

    // Messages that found no room in the sockets on which this process hears from udev.
    static unsigned long lostMessages()
    {
        std::set<std::string> own;
        for (const auto &file : std::filesystem::directory_iterator("/proc/self/fd")) {
            std::error_code error;
            own.insert(std::filesystem::read_symlink(file, error).string());
        }
        unsigned long lost = 0;
        std::ifstream table("/proc/net/netlink");
        std::string line;
        std::getline(table, line);  // sk Eth Pid Groups Rmem Wmem Dump Locks Drops Inode
        while (std::getline(table, line)) {
            std::istringstream fields(line);
            std::string skipped;
            std::string inode;
            unsigned long drops = 0;
            for (int i = 0; i < 8; ++i) {
                fields >> skipped;
            }
            fields >> drops >> inode;
            if (own.count("socket:[" + inode + "]") != 0) {
                lost += drops;
            }
        }
        return lost;
    }
};

}  // namespace

TEST_F(LostEvents, ACameraThatComesAndGoesIsToldEachTime)
{
    for (std::size_t round = 0; round < 5; ++round) {
        control("unplug");
        ASSERT_TRUE(changesReach(2 * round + 1)) << round;
        control("plug");
        ASSERT_TRUE(changesReach(2 * round + 2)) << round;
        expectWhole();
    }
    EXPECT_GT(lostMessages(), 0U) << "nothing is tried here";
    expectTurns();
    EXPECT_EQ(changes().size(), 10U);
}

TEST_F(LostEvents, WhatIsThereIsFoundAllTheSame)
{
    for (std::size_t round = 0; round < 3 && !HasFailure(); ++round) {
        const std::size_t before = changes().size();
        const unsigned long lost = lostMessages();
        holdCallback();
        ASSERT_NO_FATAL_FAILURE(replug());
        ASSERT_TRUE(changesReach(before + 1));
        ASSERT_NO_FATAL_FAILURE(replug());
        EXPECT_GT(lostMessages(), lost) << "nothing is tried here";
        releaseCallback();
        ASSERT_TRUE(eventually([&] {
            const std::vector<Change> all = changes();
            return all.size() >= before + 2 && all.back().state == NUBRIX_DEVICE_CONNECTED;
        }));
        expectTurns();
        EXPECT_EQ(cameraCount(), 1U);
        expectWhole();
    }
}

}  // namespace nubrix::vm
