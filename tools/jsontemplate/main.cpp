// Entry point of the jsontemplate command (see JsonTemplateCommand.h).
#include <string>

#include "tools/jsontemplate/JsonTemplateCommand.h"

#include <stdio.h>

int main(int argc, char** argv) {
  JsonTemplateCommand command;
  std::string error;
  if (!command.parseArguments(argc, argv, &error)) {
    fprintf(stderr, "jsontemplate: %s\n", error.c_str());
    JsonTemplateCommand::printUsage("jsontemplate");
    return 2;
  }
  return command.run();
}
