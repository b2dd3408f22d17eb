// The client layer in two sources of one program.
#include <cstdio>

#include "nubrix/client.h"

std::size_t countCameras();

// Destroyed last, when the program ends: with it the library does.
static nubrix::client::Frame g_last;

int main()
{
    const nubrix::client::Session session;
    g_last = session.open().start(nubrix::client::StreamType::kDepth).next();
    std::printf("%zu cameras\n", countCameras());
    return session.cameras().size() == 1 && countCameras() == 1 ? 0 : 1;
}
