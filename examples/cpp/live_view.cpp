// What does the camera see? Shows colour, depth in false colours and infrared side by side, with
// OpenCV, until the key q is pressed or the window is closed.
#include <nubrix/client.h>
#include <nubrix/image.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <opencv2/highgui.hpp>
#include <opencv2/imgproc.hpp>
#include <vector>

using namespace nubrix::client;

// A matrix on the pixels of a frame, without a copy: valid as long as the frame. OpenCV has no
// matrix of constant pixels; nothing here writes to them.
template <class T>
static cv::Mat matrixOn(const Frame &frame, int type)
{
    const Image<T> image = frame.image<T>();
    return cv::Mat(image.height, image.width, type, const_cast<T *>(image.data), image.bytesPerRow);
}

static cv::Mat shown(const Frame &frame)
{
    cv::Mat view;
    if (frame.type() == StreamType::kColor) {
        cv::cvtColor(matrixOn<RGB888Pixel>(frame, CV_8UC3), view, cv::COLOR_RGB2BGR);
    } else if (frame.type() == StreamType::kDepth) {
        const cv::Mat depth = matrixOn<unsigned short>(frame, CV_16UC1);
        constexpr double kFarthest = 5000;  // millimetres; from there on it has one colour
        cv::Mat nearness;
        depth.convertTo(nearness, CV_8UC1, -255 * frame.millimetresPerUnit() / kFarthest, 255);
        cv::applyColorMap(nearness, view, cv::COLORMAP_TURBO);
        view.setTo(cv::Scalar::all(0), depth == 0);  // black where nothing was measured
    } else {
        cv::cvtColor(matrixOn<unsigned char>(frame, CV_8UC1), view, cv::COLOR_GRAY2BGR);
    }
    cv::resize(view, view, cv::Size(640, 480));  // the streams of a camera may differ in size
    return view;
}

int main()
{
    const char *const window = "nubrix";
    try {
        Camera camera = Session().open();
        Stream color = camera.start(StreamType::kColor);
        Stream depth = camera.start(StreamType::kDepth);
        Stream infrared = camera.start(StreamType::kInfrared);
        cv::namedWindow(window, cv::WINDOW_AUTOSIZE | cv::WINDOW_GUI_NORMAL);
        do {
            const std::vector<cv::Mat> views = {shown(color.nextComplete()),
                                                shown(depth.nextComplete()),
                                                shown(infrared.nextComplete())};
            cv::Mat row;
            cv::hconcat(views, row);
            cv::imshow(window, row);
        } while (cv::waitKey(1) != 'q' && cv::getWindowProperty(window, cv::WND_PROP_VISIBLE) > 0);
    } catch (const std::exception &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return EXIT_FAILURE;
    }
    return EXIT_SUCCESS;
}
