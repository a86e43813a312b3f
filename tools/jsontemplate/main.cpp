// Entry point of the jsontemplate command (see JsonTemplateCommand.h).
#include <string>

#include "tools/jsontemplate/JsonTemplateCommand.h"

#include <stdio.h>

int main(int argc, char** argv) {
  JsonTemplateCommand command;
  base::Status parsed = command.parseArguments(argc, argv);
  if (!parsed.ok()) {
    fprintf(stderr, "jsontemplate: %s\n", parsed.message().c_str());
    JsonTemplateCommand::printUsage("jsontemplate");
    return 2;
  }
  return command.run();
}
