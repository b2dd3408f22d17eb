#include "image/ColorBoard.h"

#include <mutex>

#include "base/LogCall.h"

namespace nubrix {

namespace {

struct Board {
    typedefNubrixRGBA colours[kColorBoardSize + 2] = {};

    constexpr Board()
    {
        colours[kColorOfFar] = {1.0F, 0.0F, 0.0F, 1.0F};
        colours[kColorOfNone] = {0.0F, 0.0F, 0.0F, 1.0F};
    }
};

alignas(64) constinit Board g_board;

}  // namespace

const typedefNubrixRGBA *colorBoard()
{
    return g_board.colours;
}

void onCreateColorBoard()
{
    int red = 0;
    int green = 0;
    int blue = 255;
    for (unsigned int i = 0; i < kColorBoardSize; ++i) {
        const int step = i % 4 == 0 ? 1 : 0;
        // Kept: a rule that is exhausted gives way at once, so that each colour begins some entries
        // early (blue falls from 1020 on, not from 1024). See docs/oddities.md.
        if (i < 1024 && green < 255)
            green += step;
        else if (i < 2048 && blue > 0)
            blue -= step;
        else if (i < 3072 && red < 255)
            red += step;
        else if (green > 0)
            green -= step;
        g_board.colours[i] = {static_cast<float>(red / 255.0), static_cast<float>(green / 255.0),
                              static_cast<float>(blue / 255.0), 1.0F};
    }
}

void createColorBoardOnce()
{
    static std::once_flag created;
    std::call_once(created, [] {
        // Kept: the success is logged before the board is filled, and misspelt; applications match
        // it.
        logPrint(kLogMilestone, "creat color bar succed!");
        onCreateColorBoard();
    });
}

}  // namespace nubrix
