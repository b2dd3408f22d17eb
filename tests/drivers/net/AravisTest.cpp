#include "net/Aravis.h"

#include <gtest/gtest.h>

namespace nubrix::net {
namespace {

TEST(StatusOfTest, RefusalsOfTheCameraAndFailuresOfTheNetworkHaveDifferentStatuses)
{
    const auto status = [](GQuark domain, int code) {
        Error error;
        *error.out() = g_error_new_literal(domain, code, "");
        return statusOf(error);
    };
    EXPECT_EQ(statusOf(Error()), 0);
    EXPECT_EQ(status(G_IO_ERROR, G_IO_ERROR_NETWORK_UNREACHABLE), -9);
    EXPECT_EQ(status(G_IO_ERROR, G_IO_ERROR_TOO_MANY_OPEN_FILES), -1);
    EXPECT_EQ(status(ARV_GC_ERROR, ARV_GC_ERROR_OUT_OF_RANGE), -4);
    EXPECT_EQ(status(ARV_GC_ERROR, ARV_GC_ERROR_PVALUE_NOT_DEFINED), -1);
    EXPECT_EQ(status(ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_TIMEOUT), -9);
    EXPECT_EQ(status(ARV_DEVICE_ERROR, ARV_DEVICE_ERROR_NOT_CONTROLLER), -2);
}

}  // namespace
}  // namespace nubrix::net
