// A camera of a few lines that answers what the test wants, when it wants.
#pragma once

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <deque>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "tests/drivers/FakePool.h"

namespace nubrix::net {

/// Answers those who ask at its address, which need be no interface's, and nobody else.
/// Thread-safe.
class DistantCamera {
public:
    using Clock = std::chrono::steady_clock;

    struct Settings {
        std::string address;
        std::string told = {};                                // by itself; empty: the same
        std::chrono::milliseconds delay{0};                   // of each answer
        std::map<unsigned int, unsigned int> registers = {};  // read only; others are refused
    };

    explicit DistantCamera(const std::string &address) : DistantCamera(Settings{address}) {}
    explicit DistantCamera(const Settings &settings)
        : m_settings(settings), m_socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0))
    {
        sockaddr_in own = {};
        own.sin_family = AF_INET;
        own.sin_port = htons(3956);
        inet_pton(AF_INET, settings.address.c_str(), &own.sin_addr);
        EXPECT_EQ(::bind(m_socket, reinterpret_cast<sockaddr *>(&own), sizeof own), 0);
        m_thread = std::thread(&DistantCamera::run, this);
    }
    ~DistantCamera()
    {
        m_ending = true;
        m_thread.join();
        ::close(m_socket);
    }
    DistantCamera(const DistantCamera &) = delete;
    DistantCamera &operator=(const DistantCamera &) = delete;

    void mute(bool isMute = true) { m_mute = isMute; }
    /// Waits until it has been asked so many times more and has answered, if it does; false after
    /// the deadline.
    bool awaitAsked(int more)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        const int wanted = m_asked + more;
        return m_changed.wait_for(lock, kDeadline, [&] { return m_asked >= wanted; });
    }

private:
    using Bytes = std::vector<unsigned char>;

    struct Answer {
        Clock::time_point due;
        sockaddr_in to;
        Bytes packet;
    };

    void run()
    {
        while (!m_ending) {
            pollfd waited = {m_socket, POLLIN, 0};
            if (::poll(&waited, 1, 10) > 0)
                take();
            while (!m_answers.empty() && m_answers.front().due <= Clock::now()) {
                const Answer &answer = m_answers.front();
                if (!m_mute && !answer.packet.empty())
                    ::sendto(m_socket, answer.packet.data(), answer.packet.size(), 0,
                             reinterpret_cast<const sockaddr *>(&answer.to), sizeof answer.to);
                m_answers.pop_front();
                const std::lock_guard<std::mutex> lock(m_lock);
                ++m_asked;
                m_changed.notify_all();
            }
        }
    }
    void take()
    {
        Bytes asked(64);
        sockaddr_in from = {};
        socklen_t size = sizeof from;
        const ssize_t got = ::recvfrom(m_socket, asked.data(), asked.size(), 0,
                                       reinterpret_cast<sockaddr *>(&from), &size);
        if (got < 8)
            return;
        asked.resize(static_cast<std::size_t>(got));
        m_answers.push_back({Clock::now() + m_settings.delay, from, answerTo(asked)});
    }
    Bytes answerTo(const Bytes &asked) const
    {
        const bool isDiscovery = asked[3] == 2;
        Bytes answer(isDiscovery ? 8 + 0xf8 : 12);
        answer[2] = asked[2];
        answer[3] = static_cast<unsigned char>(asked[3] + 1);
        answer[5] = static_cast<unsigned char>(answer.size() - 8);
        answer[6] = asked[6];
        answer[7] = asked[7];
        if (isDiscovery) {
            const std::string &own = m_settings.told.empty() ? m_settings.address : m_settings.told;
            inet_pton(AF_INET, own.c_str(), &answer[8 + 0x24]);
            return answer;
        }
        const auto place = asked.size() < 12 ? 0U : asked[10] * 256U + asked[11];
        const auto found = m_settings.registers.find(place);
        if (found == m_settings.registers.end() || asked[3] == 0x82) {
            answer[0] = 0x80;
            answer[1] = asked[3] == 0x82 ? 0x06 : 0x03;  // access denied, no such register
            return answer;
        }
        const std::uint32_t value = htonl(found->second);
        std::memcpy(&answer[8], &value, sizeof value);
        return answer;
    }

    const Settings m_settings;
    const int m_socket;
    std::deque<Answer> m_answers;  // of the thread
    std::atomic<bool> m_mute{false};
    std::atomic<bool> m_ending{false};
    std::mutex m_lock;
    std::condition_variable m_changed;
    int m_asked = 0;  // under m_lock
    std::thread m_thread;
};

}  // namespace nubrix::net
