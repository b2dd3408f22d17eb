// Owners of what libudev hands out.
#pragma once

#include <libudev.h>
#include <memory>

namespace nubrix {

struct UdevDeleter {
    void operator()(udev *object) const { udev_unref(object); }
    void operator()(udev_device *object) const { udev_device_unref(object); }
    void operator()(udev_enumerate *object) const { udev_enumerate_unref(object); }
    void operator()(udev_monitor *object) const { udev_monitor_unref(object); }
    void operator()(udev_queue *object) const { udev_queue_unref(object); }
};

template <class T>
using UdevPtr = std::unique_ptr<T, UdevDeleter>;

}  // namespace nubrix
