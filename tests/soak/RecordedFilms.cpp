#include <deque>
#include <filesystem>

#include "tests/soak/Workers.h"

namespace nubrix::soak {

namespace {

using client::Camera;
using client::Error;
using client::Frame;
using client::Recorder;
using client::Recording;
using client::StreamType;
using std::chrono::milliseconds;

constexpr std::size_t kKeptFiles = 2;
constexpr std::uintmax_t kFileBytes = 1 << 20;
constexpr std::size_t kFilesPerFullDisk = 10;
constexpr std::uintmax_t kPage = 4096;
constexpr std::uintmax_t kFrameBytes = SoakImages::kWidth * SoakImages::kHeight * 3;
constexpr milliseconds kPoll{5};

/// Files on the small disk, the oldest of which are removed.
class Films {
public:
    explicit Films(World &world) : m_world(world) {}

    void recordOne()
    {
        const unsigned int before = m_world.plugChanges(kFilmUri);
        if (!m_world.isAttached(kFilmUri)) {
            m_world.awaitPlugChange(kFilmUri, before, milliseconds(100));
            return;
        }
        const bool fill = m_recorded % kFilesPerFullDisk == 0;
        const std::string path =
            m_world.disk + "/film" + std::to_string(m_recorded++ % (2 * kKeptFiles)) + ".bin";
        try {
            Camera camera = m_world.session.open(kFilmUri);
            Recorder recorder = camera.record(path, {StreamType::kColor, StreamType::kDepth});
            m_world.counters.opened += 2;
            m_files.push_back(path);
            bool wasFull = false;
            while (camera.isConnected() && !isLongEnough(path, fill)) {
                m_world.awaitPlugChange(kFilmUri, before, kPoll);
                wasFull |= !hasSpaceFor(2 * kFrameBytes);
            }
            finish(recorder, wasFull);
        } catch (const std::exception &error) {
            if (!m_world.isCausedByPlug(kFilmUri, before, error))
                m_world.defect("recording: " + std::string(error.what()));
        }
        if (m_world.plugChanges(kFilmUri) != before)
            ++m_world.counters.unplugged;
        removeOld(fill ? 0 : kKeptFiles);
    }

private:
    bool isLongEnough(const std::string &path, bool fill) const
    {
        if (m_world.rest.isDue() || m_world.rest.isOver())
            return true;
        return fill ? !hasSpaceFor(kPage) : std::filesystem::file_size(path) >= kFileBytes;
    }
    bool hasSpaceFor(std::uintmax_t bytes) const
    {
        return std::filesystem::space(m_world.disk).available >= bytes;
    }

    /// A file is complete, or the disk was full; then its complete frames can be read.
    void finish(Recorder &recorder, bool wasFull)
    {
        wasFull |= !hasSpaceFor(2 * kFrameBytes);
        bool cut = false;
        try {
            recorder.finish();
        } catch (const Error &error) {
            cut = true;
            if (std::string(error.operation()) != "finish" || !wasFull)
                m_world.defect(error.what());
        }
        for (const NubrixStreamLedger &ledger : recorder.ledgers()) {
            const std::string problem = m_world.ledgers.close(ledger);
            if (!problem.empty())
                m_world.defect("the ledger of a recording: " + problem);
        }
        const Recording film(recorder.path());
        for (const Frame &frame : film) {
            if (!m_world.images.containOneOf(frame.record()))
                m_world.defect("a recorded frame has other pixels than the camera");
        }
        m_world.counters.recorded += film.size();
        ++(cut ? m_world.counters.fullDisks : m_world.counters.recordings);
    }
    void removeOld(std::size_t kept)
    {
        for (; m_files.size() > kept; m_files.pop_front())
            std::filesystem::remove(m_files.front());
    }

    World &m_world;
    std::deque<std::string> m_files;
    std::size_t m_recorded = 0;
};

}  // namespace

void recordFilms(World &world)
{
    Films films(world);
    while (!world.rest.isOver()) {
        world.rest.rest();
        films.recordOne();
    }
}

}  // namespace nubrix::soak
