// dmtool: writes and reads the host datamap (see DmTool.h).
#include <string>
#include <vector>

#include "tools/dmtool/DmTool.h"

int main(int argc, char** argv) {
  std::vector<std::string> args(argv + 1, argv + argc);
  DmTool tool;
  return tool.run(args);
}
