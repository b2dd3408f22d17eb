#include "nubrix/client.h"

std::size_t countCameras()
{
    return nubrix::client::Session().cameras().size();
}
