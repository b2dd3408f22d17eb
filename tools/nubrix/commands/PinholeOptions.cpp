#include "commands/PinholeOptions.h"

namespace nubrix::tool {

PinholeOptions::PinholeOptions(CLI::App &options, const std::string &defaults)
{
    options
        .add_option("--scale", m_scale, "Depths are divided by this; 1000: millimetres to metres")
        ->check(CLI::PositiveNumber)
        ->type_name("S")
        ->capture_default_str();
    options.add_option("--fx", m_fx, "Focal length in pixels; otherwise " + defaults);
    options.add_option("--fy", m_fy, "Focal length in pixels");
    options.add_option("--cx", m_cx, "Principal point in pixels");
    options.add_option("--cy", m_cy, "Principal point in pixels");
    // The library takes any other value as "unknown" and then uses a camera of its own.
    for (const char *name : {"--fx", "--fy", "--cx", "--cy"})
        options.get_option(name)->check(CLI::PositiveNumber)->type_name("PIXELS");
}

Pinhole PinholeOptions::over(const Pinhole &defaults) const
{
    return {m_fx.value_or(defaults.fx), m_fy.value_or(defaults.fy), m_cx.value_or(defaults.cx),
            m_cy.value_or(defaults.cy)};
}

}  // namespace nubrix::tool
