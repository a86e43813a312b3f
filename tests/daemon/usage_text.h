// The daemon's help text, as -h prints it and print_out_app_usage_help writes it.
#ifndef TESTS_DAEMON_USAGE_TEXT_H_
#define TESTS_DAEMON_USAGE_TEXT_H_

#include <string>

namespace daemontest {

// The help text for the program path the daemon was started as.
inline std::string usageText(const std::string& program) {
  return "Usage: " + program +
         " [options]\n"
         "options:\n"
         " -d               Run application in debug mode, without daemonized\n"
         " -m <mask>        Specify mask flags for debugging, 0x0001:livedata, 0x0002:energy, "
         "0x0004:flicker, 0x0008:phasor, 0x0010:polling, 0x0020:thd, 0x0040:demand\n"
         " -p <file>        Specify pid fle name path\n"
         " -V               Print out version and buildtime information\n"
         " -?               build version and date\n"
         " -h               help\n";
}

}  // namespace daemontest

#endif  // TESTS_DAEMON_USAGE_TEXT_H_
