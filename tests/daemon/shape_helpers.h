// Matching texts whose digits change from build to build (version, build date).
#ifndef TESTS_DAEMON_SHAPE_HELPERS_H_
#define TESTS_DAEMON_SHAPE_HELPERS_H_

#include <string>

namespace daemontest {

// True when text has the shape: in shape, '#' stands for a digit, '~' for a blank
// or a digit, '^' for an upper-case and '%' for a lower-case letter; every other
// character stands for itself.
bool matchesShape(const std::string& text, const std::string& shape);

// Shape of VER_FileVersion's value: "0005.0001.YYMMDD.hhmmss".
std::string versionShape();
// Shape of VER_FileDate's value for this build: "Mmm dd yyyy hh:mm:ss (Release)"
// ("(Debug)" without NDEBUG).
std::string dateShape();

}  // namespace daemontest

#endif  // TESTS_DAEMON_SHAPE_HELPERS_H_
