// The client layer in two sources of one program.
#include <cstdio>

#include "nubrix/client.h"

std::size_t countCameras();

int main()
{
    const nubrix::client::Session session;
    std::printf("%zu cameras\n", countCameras());
    return session.cameras().size() == 1 && countCameras() == 1 ? 0 : 1;
}
