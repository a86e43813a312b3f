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

#include "base/Status.h"
#include "hoststore/HostDatamap.h"

class DmTool {
 public:
  // Runs the command line (without the program name); returns the exit status.
  int run(const std::vector<std::string>& args);

 private:
  // Each command fails with the message of its one error line.
  struct Command {
    const char* name;
    base::Status (DmTool::*run)(const std::vector<std::string>& args);
  };
  static const Command kCommands[7];

  base::Status create(const std::vector<std::string>& args);
  base::Status set(const std::vector<std::string>& args);
  base::Status get(const std::vector<std::string>& args);
  base::Status fail(const std::vector<std::string>& args);
  base::Status writeBlock(const std::vector<std::string>& args);
  base::Status readBlock(const std::vector<std::string>& args);
  base::Status list(const std::vector<std::string>& args);

  base::Status checkPair(const std::string& key, const std::string& value);
  base::Status parseSize(const std::string& what, const std::string& text, size_t* value);
  base::Status parseBlock(const std::string& text, int* block);
  static base::Status failure(const std::string& message);
  // The exit status of a command's result; prints the error line of a failure.
  static int report(const base::Status& status);
  static void printUsage(FILE* stream);

  std::string mapPath_;
  dmhost::HostDatamap map_;
};

#endif  // TOOLS_DMTOOL_DMTOOL_H_
