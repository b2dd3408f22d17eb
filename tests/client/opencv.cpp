// The recipe for OpenCV of docs/client.md, word for word, on one frame.
#include <opencv2/core.hpp>

#include "nubrix/client.h"

using namespace nubrix::client;

int main()
{
    const Frame frame = Session().open().start(StreamType::kDepth).nextComplete();
    const auto image = frame.image<unsigned short>();
    const cv::Mat depth(image.height, image.width, CV_16UC1,
                        const_cast<unsigned short *>(image.data), image.bytesPerRow);
    cv::Mat millimetres;
    depth.convertTo(millimetres, CV_32FC1, frame.millimetresPerUnit());
    for (int y = 0; y < frame.height(); ++y) {
        for (int x = 0; x < frame.width(); ++x) {
            if (static_cast<double>(millimetres.at<float>(y, x)) != frame.millimetres(x, y))
                return 1;
        }
    }
    return millimetres.cols == 640 && millimetres.rows == 480 ? 0 : 1;
}
