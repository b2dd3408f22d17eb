// How is a scene recorded, read again, and played to a program as if it were a camera? Records into
// FILE, prints what is in it, and writes FILE.json, with which nubrix-virtual plays it.
//
//     record_and_play [FILE [SECONDS]]   room.bin and 2 seconds without arguments
#include <nubrix/client.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <iomanip>
#include <stdexcept>
#include <string>
#include <thread>

using namespace nubrix::client;

static void record(const std::string &path, std::chrono::seconds duration)
{
    Camera camera = Session().open();
    Recorder recorder = camera.record(path, {StreamType::kDepth, StreamType::kColor});
    std::this_thread::sleep_for(duration);  // threads of the library write meanwhile
    recorder.finish();  // throws when the file is not complete, as on a full disk
    for (const std::string &loss : recorder.losses())
        std::printf("lost: %s\n", loss.c_str());
}

// Needs no camera. A frame is read from the file when it is asked for.
static void read(const std::string &path)
{
    const Recording recording(path);
    const auto depths = recording.frames(StreamType::kDepth);
    std::printf("%u frames, %u of them depths\n", recording.size(), depths.size());
    for (const Frame &frame : depths) {
        std::printf("frame %u: %.2f mm\n", frame.index(),
                    frame.millimetres(frame.width() / 2, frame.height() / 2));
    }
}

// A scenario of the virtual camera whose frames are those of the recording.
static void writeScenario(const std::string &path, const std::string &recording)
{
    std::ofstream file(path);
    file << R"({"source": "recording", "recording": {"file": )"
         << std::quoted(std::filesystem::path(recording).filename().string()) << "}}\n";
    if (!file.flush())
        throw std::runtime_error(path + " cannot be written");
    std::printf("play it: nubrix-virtual --scenario %s PROGRAM\n", path.c_str());
}

int main(int argc, char **argv)
{
    const std::string path = argc > 1 ? argv[1] : "room.bin";
    try {
        record(path, std::chrono::seconds(argc > 2 ? std::atoi(argv[2]) : 2));
        read(path);
        writeScenario(path + ".json", path);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
