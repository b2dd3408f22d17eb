/// @file
/// Recording streams of an open camera.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "nubrix/client/detail/open_camera.h"
#include "nubrix/client/frame.h"
#include "nubrix/client/ledger.h"
#include "nubrix/record_reader.h"

namespace nubrix {
namespace client {

/// A recording that runs, whatever other streams of the same types do. It takes the newest frame
/// whenever one comes: one that is overtaken before it is taken is not in the file, and shows as a
/// gap in the time stamps, which 'nubrix inspect' counts. It ends when this is destroyed or finish
/// is called. Not thread-safe.
class Recorder {
public:
    /// Moved from one owner to the next, not copied.
    Recorder(Recorder &&other) noexcept
        : m_camera(std::move(other.m_camera)),
          m_path(std::move(other.m_path)),
          m_handle(std::exchange(other.m_handle, nullptr)),
          m_streams(std::move(other.m_streams)),
          m_types(std::move(other.m_types)),
          m_ledgers(std::move(other.m_ledgers))
    {
    }
    /// @{
    /// Neither assigned nor copied.
    Recorder &operator=(Recorder &&) = delete;
    Recorder(const Recorder &) = delete;
    Recorder &operator=(const Recorder &) = delete;
    /// @}
    /// Writes what is left and closes the file; failures are not reported, see finish.
    ~Recorder()
    {
        if (m_camera)
            close();
    }

    /// The path of the file, as it was given.
    const std::string &path() const { return m_path; }
    /// Where the frames of each stream went, in the order of the types that are recorded; when the
    /// recording has ended, until then.
    std::vector<NubrixStreamLedger> ledgers() const
    {
        std::vector<NubrixStreamLedger> now = m_ledgers;
        for (std::size_t i = 0; i < m_streams.size(); ++i)
            nubrixStreamLedger(m_streams[i], &now[i]);
        return now;
    }
    /// What frames were lost and why, a line for each cause that begins with the type of the
    /// stream; empty when none was. Before finish, a frame that is being written counts as not
    /// recorded.
    std::vector<std::string> losses() const
    {
        std::vector<std::string> lines;
        const std::vector<NubrixStreamLedger> now = ledgers();
        for (std::size_t i = 0; i < now.size(); ++i) {
            for (const std::string &line : client::losses(now[i]))
                lines.push_back(std::string(name(m_types[i])) + ": " + line);
        }
        return lines;
    }
    /// Writes what is left and closes the file. Throws an Error when that fails, when the file
    /// ends within a frame because the disk was full, or when it cannot be opened to check that.
    void finish()
    {
        if (!m_handle)
            return;
        if (const int status = close())
            detail::fail("destroyRecorder", m_path, status);
        RecordReader reader;  // of a write that fails the library only writes a line into the log
        if (reader.open(m_path.c_str()) != 0) {
            detail::fail("finish", -1, 0,
                         "finish (" + m_path + "): the file cannot be checked, " +
                             reader.errorText() + "; record anew");
        }
        if (reader.condition() != NUBRIX_RECORD_COMPLETE) {
            detail::fail("finish", -1, 0,
                         "finish (" + m_path + "): the file is not complete, " + reader.problem() +
                             "; make space and record anew");
        }
    }

private:
    friend class Camera;

    Recorder(std::shared_ptr<detail::OpenCamera> camera, std::string path,
             const std::vector<StreamType> &types)
        : m_camera(std::move(camera)),
          m_path(std::move(path)),
          m_types(types),
          m_ledgers(types.size(), detail::emptyLedger())
    {
        try {
            start(types);
        } catch (...) {
            close();
            throw;
        }
    }
    void start(const std::vector<StreamType> &types)
    {
        NubrixBaseContext &context = m_camera->context();
        m_streams.reserve(types.size());
        for (const StreamType type : types) {  // first: a file that is there is emptied after them
            // Of its own, without a callback: frames of streams with one are not recorded.
            NubrixStream *stream = nullptr;
            require("openStream", subject(type), [&] {
                return context.openStream(m_camera->handle(), static_cast<unsigned int>(type),
                                          &stream, nullptr, nullptr);
            });
            m_streams.push_back(stream);
        }
        require("createRecorder", m_path,
                [&] { return context.createRecorder(m_path.c_str(), &m_handle); });
        for (std::size_t i = 0; i < types.size(); ++i) {
            require("recorderAttachStream", subject(types[i]),
                    [&] { return context.recorderAttachStream(m_handle, m_streams[i]); });
        }
        require("recorderStart", m_path, [&] { return context.recorderStart(m_handle); });
    }
    std::string subject(StreamType type) const
    {
        return std::string(name(type)) + " of " + m_camera->connection().uri();
    }
    int close() noexcept
    {
        NubrixBaseContext &context = m_camera->context();
        const int stopped = m_handle ? context.recorderStop(m_handle) : 0;
        // Waits for a frame that is being written, which the ledgers then count.
        const int destroyed =
            m_handle ? context.destroyRecorder(std::exchange(m_handle, nullptr)) : 0;
        for (std::size_t i = 0; i < m_streams.size(); ++i) {
            nubrixStreamLedger(m_streams[i], &m_ledgers[i]);
            context.closeStream(m_streams[i]);
        }
        m_streams.clear();
        return stopped ? stopped : destroyed;
    }

    std::shared_ptr<detail::OpenCamera> m_camera;
    std::string m_path;
    NubrixRecord *m_handle = nullptr;
    std::vector<NubrixStream *> m_streams;
    std::vector<StreamType> m_types;
    std::vector<NubrixStreamLedger> m_ledgers;  // when the recording has ended, until then
};

}  // namespace client
}  // namespace nubrix
