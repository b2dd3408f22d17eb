// A minimal camera whose answers, and their delay, the test defines.
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

/// Answers requests to its address, but no broadcasts. Thread-safe.
class DistantCamera {
public:
    using Clock = std::chrono::steady_clock;

    struct Settings {
        std::string address;
        std::string reported = {};           // own address in answers; empty: the same
        std::chrono::milliseconds delay{0};  // of each answer
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

    void setMuted(bool isMuted = true) { m_isMuted = isMuted; }
    /// Waits until it has handled so many more requests, and answered them unless it is muted;
    /// false after the deadline.
    bool awaitRequests(int more)
    {
        std::unique_lock<std::mutex> lock(m_lock);
        const int wanted = m_requests + more;
        return m_changed.wait_for(lock, kDeadline, [&] { return m_requests >= wanted; });
    }

    /// The same for the first request, which may have come already.
    bool awaitFirstRequest()
    {
        std::unique_lock<std::mutex> lock(m_lock);
        return m_changed.wait_for(lock, kDeadline, [&] { return m_requests > 0; });
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
                if (!m_isMuted && !answer.packet.empty())
                    ::sendto(m_socket, answer.packet.data(), answer.packet.size(), 0,
                             reinterpret_cast<const sockaddr *>(&answer.to), sizeof answer.to);
                m_answers.pop_front();
                const std::lock_guard<std::mutex> lock(m_lock);
                ++m_requests;
                m_changed.notify_all();
            }
        }
    }
    void take()
    {
        Bytes request(64);
        sockaddr_in from = {};
        socklen_t size = sizeof from;
        const ssize_t got = ::recvfrom(m_socket, request.data(), request.size(), 0,
                                       reinterpret_cast<sockaddr *>(&from), &size);
        if (got < 8)
            return;
        request.resize(static_cast<std::size_t>(got));
        m_answers.push_back({Clock::now() + m_settings.delay, from, answerTo(request)});
    }
    Bytes answerTo(const Bytes &request) const
    {
        const bool isDiscovery = request[3] == 2;
        Bytes answer(isDiscovery ? 8 + 0xf8 : 12);
        answer[2] = request[2];
        answer[3] = static_cast<unsigned char>(request[3] + 1);
        answer[5] = static_cast<unsigned char>(answer.size() - 8);
        answer[6] = request[6];
        answer[7] = request[7];
        if (isDiscovery) {
            const std::string &own =
                m_settings.reported.empty() ? m_settings.address : m_settings.reported;
            inet_pton(AF_INET, own.c_str(), &answer[8 + 0x24]);
            return answer;
        }
        const auto address = request.size() < 12 ? 0U : request[10] * 256U + request[11];
        const auto found = m_settings.registers.find(address);
        if (found == m_settings.registers.end() || request[3] == 0x82) {
            answer[0] = 0x80;
            answer[1] = request[3] == 0x82 ? 0x06 : 0x03;  // access denied, no such register
            return answer;
        }
        const std::uint32_t value = htonl(found->second);
        std::memcpy(&answer[8], &value, sizeof value);
        return answer;
    }

    const Settings m_settings;
    const int m_socket;
    std::deque<Answer> m_answers;  // of the thread
    std::atomic<bool> m_isMuted{false};
    std::atomic<bool> m_ending{false};
    std::mutex m_lock;
    std::condition_variable m_changed;
    int m_requests = 0;  // under m_lock
    std::thread m_thread;
};

}  // namespace nubrix::net
