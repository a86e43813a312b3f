// dmtool: writes and reads the host datamap (see DmTool.h).
#include <sys/stat.h>

#include <string>
#include <vector>

#include "tools/dmtool/DmTool.h"

int main(int argc, char** argv) {
  // The datamap file is never writable by anyone but this user.
  umask(022);
  std::vector<std::string> args(argv + 1, argv + argc);
  DmTool tool;
  return tool.run(args);
}
