// A relay in front of a camera that can make it slow, or ignore requests.
#pragma once

#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <string>
#include <thread>
#include <vector>

namespace nubrix::net {

/// Forwards control packets to a camera of this host, and its answers. The camera itself sends the
/// frames. Thread-safe.
class RelayCamera {
public:
    using Clock = std::chrono::steady_clock;

    enum class Way {
        kPass,
        kSlow,     ///< each answer is late, but arrives before the request is repeated
        kPending,  ///< the camera requests more time again and again
        kIdle,     ///< writes are acknowledged and not done
    };

    RelayCamera(const std::string &address, const std::string &camera)
        : m_front(socketAt(address, 3956)), m_camera(addressOf(camera, 3956))
    {
        m_thread = std::thread(&RelayCamera::run, this);
    }
    ~RelayCamera()
    {
        m_ending = true;
        m_thread.join();
        for (const Client &client : m_clients)
            ::close(client.back);
        ::close(m_front);
    }
    RelayCamera(const RelayCamera &) = delete;
    RelayCamera &operator=(const RelayCamera &) = delete;

    void set(Way way) { m_way = way; }

private:
    using Bytes = std::vector<unsigned char>;

    struct Client {
        sockaddr_in address;
        int back;
    };
    struct Answer {
        Clock::time_point due;
        sockaddr_in to;
        Bytes packet;
    };

    static sockaddr_in addressOf(const std::string &text, std::uint16_t port)
    {
        sockaddr_in address = {};
        address.sin_family = AF_INET;
        address.sin_port = htons(port);
        inet_pton(AF_INET, text.c_str(), &address.sin_addr);
        return address;
    }
    static int socketAt(const std::string &text, std::uint16_t port)
    {
        const int made = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
        const sockaddr_in own = addressOf(text, port);
        EXPECT_EQ(::bind(made, reinterpret_cast<const sockaddr *>(&own), sizeof own), 0);
        return made;
    }
    static Bytes receive(int from, sockaddr_in &sender)
    {
        Bytes packet(2048);
        socklen_t size = sizeof sender;
        const ssize_t got = ::recvfrom(from, packet.data(), packet.size(), MSG_DONTWAIT,
                                       reinterpret_cast<sockaddr *>(&sender), &size);
        packet.resize(got < 0 ? 0 : static_cast<std::size_t>(got));
        return packet;
    }
    void send(int from, const sockaddr_in &to, const Bytes &packet)
    {
        ::sendto(from, packet.data(), packet.size(), 0, reinterpret_cast<const sockaddr *>(&to),
                 sizeof to);
    }

    void run()
    {
        while (!m_ending) {
            std::vector<pollfd> waited = {{m_front, POLLIN, 0}};
            for (const Client &client : m_clients)
                waited.push_back({client.back, POLLIN, 0});
            ::poll(waited.data(), waited.size(), 10);
            const std::size_t known = m_clients.size();
            if (waited[0].revents != 0)
                takeCommand();
            for (std::size_t i = 0; i < known; ++i) {
                if (waited[i + 1].revents != 0)
                    takeAnswer(m_clients[i]);
            }
            for (; !m_answers.empty() && m_answers.front().due <= Clock::now();
                 m_answers.pop_front())
                send(m_front, m_answers.front().to, m_answers.front().packet);
        }
    }
    void takeCommand()
    {
        sockaddr_in from = {};
        const Bytes packet = receive(m_front, from);
        const Way way = m_way;
        if (packet.size() < 8)
            return;
        if (way == Way::kPending) {  // 300 ms more
            send(m_front, from, {0, 0, 0, 0x89, 0, 4, packet[6], packet[7], 0, 0, 1, 0x2c});
        } else if (way == Way::kIdle && (packet[3] == 0x82 || packet[3] == 0x86)) {
            const auto done = static_cast<unsigned char>(packet[3] + 1);
            send(m_front, from, {0, 0, 0, done, 0, 4, packet[6], packet[7], 0, 0, 0, 1});
        } else {
            send(backOf(from), m_camera, packet);
        }
    }
    void takeAnswer(const Client &client)
    {
        constexpr std::chrono::milliseconds kSlowness{150};
        sockaddr_in from = {};
        const Bytes packet = receive(client.back, from);
        const bool isSlow = m_way == Way::kSlow;
        m_answers.push_back(
            {Clock::now() + (isSlow ? kSlowness : kSlowness * 0), client.address, packet});
    }
    int backOf(const sockaddr_in &address)
    {
        for (const Client &client : m_clients) {
            if (client.address.sin_port == address.sin_port &&
                client.address.sin_addr.s_addr == address.sin_addr.s_addr)
                return client.back;
        }
        m_clients.push_back({address, socketAt("127.0.0.1", 0)});
        return m_clients.back().back;
    }

    const int m_front;
    const sockaddr_in m_camera;
    std::atomic<Way> m_way{Way::kPass};
    std::atomic<bool> m_ending{false};
    std::vector<Client> m_clients;  // both of the thread
    std::deque<Answer> m_answers;
    std::thread m_thread;
};

}  // namespace nubrix::net
