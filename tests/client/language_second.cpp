#include "nubrix/client.h"

int countCameras()
{
    return static_cast<int>(nubrix::client::Session().cameras().size());
}
