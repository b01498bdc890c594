// What a user of OpenCV would write instead of `kelvane blur`: the variance of the Laplacian of
// each picture, on several threads.
//   kelvane-opencv-blur THREADS 16|64 FILE...
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <opencv2/imgcodecs.hpp>
#include <opencv2/imgproc.hpp>

int main(int argc, char** argv) {
    cv::setNumThreads(std::atoi(argv[1]));
    const int depth = std::string(argv[2]) == "16" ? CV_16S : CV_64F;
    const std::vector<std::string> files(argv + 3, argv + argc);
    const auto count = static_cast<int>(files.size());
    std::vector<double> scores(files.size());
    cv::parallel_for_(
        cv::Range(0, count),
        [&](const cv::Range& range) {
            for (auto i = static_cast<size_t>(range.start); i < static_cast<size_t>(range.end);
                 ++i) {
                cv::Mat laplacian;
                cv::Laplacian(cv::imread(files[i], cv::IMREAD_GRAYSCALE), laplacian, depth);
                cv::Scalar mean, deviation;
                cv::meanStdDev(laplacian, mean, deviation);
                scores[i] = deviation[0] * deviation[0];
            }
        },
        count);
    for (size_t i = 0; i < files.size(); ++i)
        std::printf("%10.1f  %s\n", scores[i], files[i].c_str());
}
