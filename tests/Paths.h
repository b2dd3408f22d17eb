// Where the files of a test lie. Each test program defines those that it uses (nubrix_paths in
// tests/CMakeLists.txt), in a source of its own: all others are compiled alike in every checkout,
// so that one compiler cache serves them all.
#pragma once

namespace nubrix::paths {

extern const char *const kArvTool;      // empty where it is not installed
extern const char *const kBehindCable;  // for a shell
extern const char *const kBin;
extern const char *const kCameraProcess;  // for a shell
extern const char *const kEmulator;       // its words separated by '|', or empty
extern const char *const kExamples;       // their sources
extern const char *const kLib;
extern const char *const kLibrary;
extern const char *const kLiveView;  // empty where OpenCV's highgui is not installed
extern const char *const kLogPlugin;
extern const char *const kNetPlugin;
extern const char *const kReadBitmap;
extern const char *const kReadImage;
extern const char *const kReadPly;
extern const char *const kReadPoints;
extern const char *const kRudeDriver;
extern const char *const kTestPlugins;
extern const char *const kReportingPlugin;
extern const char *const kUvcPlugin;
extern const char *const kVirtualLibrary;  // as the virtual camera's folder has it
extern const char *const kVirtualPlugin;
extern const char *const kVirtualReadme;

}  // namespace nubrix::paths
