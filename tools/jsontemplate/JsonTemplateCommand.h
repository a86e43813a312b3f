// The jsontemplate command: fills a JSON template from the datamap for a number
// of cycles and writes each cycle's document to standard output, followed by the
// record separator byte 0x1E.
//
//   jsontemplate [--map PATH] [--cycles N] [--interval MS] [--step]
//                [--var NAME=CODE:VALUE]... TEMPLATE
//
// Exit status: 0 after the cycles (or at end of input with --step), 1 when the
// datamap cannot be opened, 2 for bad arguments (usage on standard error).
//
// Thread-safety: one command object, used by the main thread.
#ifndef TOOLS_JSONTEMPLATE_JSONTEMPLATECOMMAND_H_
#define TOOLS_JSONTEMPLATE_JSONTEMPLATECOMMAND_H_

#include <memory>
#include <string>
#include <vector>

#include "base/Status.h"
#include "jsontemplate/JsonTemplateInternalVariable.h"

class JsonTemplateCommand {
 public:
  JsonTemplateCommand();
  ~JsonTemplateCommand();
  JsonTemplateCommand(const JsonTemplateCommand&) = delete;
  JsonTemplateCommand& operator=(const JsonTemplateCommand&) = delete;

  // Parses the command line; fails on bad arguments.
  base::Status parseArguments(int argc, char** argv);
  // Runs the cycles; returns the exit status.
  int run();

  static void printUsage(const char* program);

 private:
  // Storage of one internal variable's value, owned for the template's life.
  struct Variable {
    std::string name;
    int code = 0;
    alignas(8) unsigned char storage[64] = {};
    std::string text;  // string codes (and codes without a formatter)
  };

  base::Status parseVariable(const std::string& argument);
  bool openDatamap();
  bool waitForStep();

  std::string mapPath_;
  bool mapGiven_ = false;
  long long cycles_ = 1;
  int intervalMs_ = 1000;
  bool step_ = false;
  std::string templatePath_;
  std::vector<std::unique_ptr<Variable>> variables_;
  std::vector<_JsonTemplateInternalVariable> records_;
};

#endif  // TOOLS_JSONTEMPLATE_JSONTEMPLATECOMMAND_H_
