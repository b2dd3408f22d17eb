// How does an application test itself against what a camera can do to it? The scenario
// own_test.json drops frames, shortens one and unplugs the camera, in every run at the same frames:
//
//     nubrix-virtual --scenario own_test.json ./own_test
#include <nubrix/client.h>

#include <cstdio>
#include <cstdlib>
#include <exception>

using namespace nubrix::client;

// What is tested: a part of the application. It takes a camera and does not know which.
struct Watched {
    int complete = 0;
    int incomplete = 0;
    unsigned int missing = 0;  // between the frames that came
    bool isUnplugged = false;
};

static Watched watchUntilUnplugged(Camera camera)
{
    Watched watched;
    unsigned int expected = 0;
    try {
        for (Stream depth = camera.start(StreamType::kDepth);;) {
            const Frame frame = depth.next();
            watched.missing += frame.index() - expected;
            expected = frame.index() + 1;
            ++(frame.isComplete() ? watched.complete : watched.incomplete);
        }
    } catch (const Unplugged &) {
        watched.isUnplugged = true;
    }
    return watched;
}

static int g_failures = 0;

static void expect(bool condition, const char *what)
{
    std::printf("%s: %s\n", condition ? "passed" : "FAILED", what);
    g_failures += condition ? 0 : 1;
}

int main()
{
    try {
        const Session session;
        const Watched watched = watchUntilUnplugged(session.open());
        expect(watched.missing == 3, "3 dropped frames are noticed");
        expect(watched.incomplete == 1, "a frame that is cut short is not used");
        expect(watched.complete == 36, "all others are used");
        expect(watched.isUnplugged, "the unplugging is noticed");
        expect(session.cameras().empty(), "the camera is not listed any more");
    } catch (const std::exception &error) {
        expect(false, error.what());
    }
    return g_failures == 0 ? EXIT_SUCCESS : EXIT_FAILURE;
}
