// The client layer in C++17, in two sources of one program.
#include <cstdio>

#include "nubrix/client.h"

int countCameras();

int main()
{
    const nubrix::client::Session session;
    std::printf("%d cameras\n", countCameras());
    return static_cast<int>(session.cameras().size()) == countCameras() ? 0 : 1;
}
