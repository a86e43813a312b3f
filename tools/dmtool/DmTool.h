// The `dmtool` command: a thin front end over dmhost::HostDatamap.
//
//   dmtool [--map PATH] COMMAND ...
//     create CATALOG                 new map from a catalogue (atomic replace)
//     set KEY VALUE [KEY VALUE]...   every pair is checked before any is written
//     get KEY                        value in the text form `set` accepts
//     fail KEY CODE                  later reads of KEY return CODE (< 0); 0 clears
//     write-block BLOCK OFFSET       standard input's bytes into the block
//     read-block BLOCK OFFSET LENGTH raw bytes to standard output
//     list                           "INDEX TYPE KEY" per key
// Errors: one line "dmtool: ..." on standard error, exit status 1, the map
// unchanged. No or an unknown command: the usage on standard error, status 1.
//
// Thread-safety: one object per process run.
#ifndef TOOLS_DMTOOL_DMTOOL_H_
#define TOOLS_DMTOOL_DMTOOL_H_

#include <stddef.h>

#include <string>
#include <vector>

#include "hoststore/HostDatamap.h"

class DmTool {
 public:
  // Runs the command line (without the program name); returns the exit status.
  int run(const std::vector<std::string>& args);

 private:
  bool dispatch(const std::string& command, const std::vector<std::string>& args);
  bool create(const std::vector<std::string>& args);
  bool set(const std::vector<std::string>& args);
  bool get(const std::vector<std::string>& args);
  bool fail(const std::vector<std::string>& args);
  bool writeBlock(const std::vector<std::string>& args);
  bool readBlock(const std::vector<std::string>& args);
  bool list(const std::vector<std::string>& args);

  bool openMap();
  bool checkPair(const std::string& key, const std::string& value);
  bool parseSize(const std::string& what, const std::string& text, size_t* value);
  bool parseBlock(const std::string& text, int* block);
  bool error(const std::string& message);
  static void printUsage(FILE* stream);

  std::string mapPath_;
  dmhost::HostDatamap map_;
};

#endif  // TOOLS_DMTOOL_DMTOOL_H_
