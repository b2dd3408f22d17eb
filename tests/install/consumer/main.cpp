// consumer N    succeeds when the installed library finds N cameras and opens each of them.
#include <nubrix/nubrix.h>

#include <cstdio>
#include <cstdlib>

static bool canOpenEach(NubrixBaseContext &context, unsigned int expected)
{
    typedefNubrixeviceAttribute *cameras = nullptr;
    unsigned int count = 0;
    const int listed = context.nubrixGetDeviceList(&cameras, &count);
    std::printf("%u cameras\n", count);
    if (listed != 0 || count != expected)
        return false;
    for (unsigned int i = 0; i < count; ++i) {
        NubrixDevice *camera = nullptr;
        std::printf("%s %s\n", cameras[i].uri, cameras[i].serialNumber);
        if (context.openDevice(cameras[i].uri, &camera) != 0 || context.closeDevice(camera) != 0)
            return false;
    }
    return true;
}

int main(int argc, char **argv)
{
    if (argc != 2)
        return 2;
    NubrixBaseContext *context = ContextFactory();
    const bool done = context->initialize() == 0 &&
                      canOpenEach(*context, static_cast<unsigned int>(std::atoi(argv[1]))) &&
                      context->destroy() == 0;
    deleteContext(context);
    if (!done)
        std::fprintf(stderr, "failed, error 0x%x\n", *ErrnoLocal());
    return done ? 0 : 1;
}
