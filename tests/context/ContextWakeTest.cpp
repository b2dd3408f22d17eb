// destroy wakes a photo that waits for a frame.
#include <unistd.h>

#include <atomic>
#include <thread>

#include "tests/TemporaryFolder.h"
#include "tests/context/ContextInside.h"
#include "tests/fakes/SystemCalls.h"
#include "tests/fakes/Waiting.h"

namespace nubrix {
namespace {

// The wait of a photo ends only when somebody wakes it: it has no timeout here.
class Wake : public InsideOf<Context> {
protected:
    Wake()
    {
        m_calls.condTimedWait = [this](pthread_cond_t *condition, pthread_mutex_t *mutex,
                                       const timespec *deadline) {
            if (::gettid() != m_photographer)
                return RealCalls::condTimedWait(condition, mutex, deadline);
            m_waits.add();
            return RealCalls::condWait(condition, mutex);
        };
        EXPECT_EQ(
            m_context.openStream(open("usb:1"), NUBRIX_STREAM_COLOR, &m_stream, nullptr, nullptr),
            0);
    }
    std::thread photographing()
    {
        return std::thread([this] {
            m_photographer = ::gettid();
            m_status = m_context.takePhoto(m_folder.file("photo.bmp").c_str());
        });
    }

    const TemporaryFolder m_folder;
    NubrixStream *m_stream = nullptr;
    std::atomic<int> m_photographer{0};
    std::atomic<int> m_status{1};
    Counter m_waits;
    SystemCalls m_calls;
    const SystemCallsInForce m_inForce{m_calls};
};

TEST_F(Wake, DestroyEndsThePhotosWait)
{
    std::thread photographer = photographing();
    ASSERT_TRUE(m_waits.reaches(1));
    EXPECT_EQ(m_context.destroy(), 0);
    photographer.join();
    EXPECT_EQ(m_status, -9);
}

TEST_F(Wake, ClosingTheStreamEndsThePhotosWait)
{
    std::thread photographer = photographing();
    ASSERT_TRUE(m_waits.reaches(1));
    EXPECT_EQ(m_context.closeStream(m_stream), 0);
    photographer.join();
    EXPECT_EQ(m_status, -1);
}

}  // namespace
}  // namespace nubrix
