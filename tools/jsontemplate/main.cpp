// Entry point of the jsontemplate command (see JsonTemplateCommand.h).
#include <string>

#include "tools/jsontemplate/JsonTemplateCommand.h"

#include <stdio.h>
#include <sys/stat.h>

int main(int argc, char** argv) {
  // Files written are never writable by anyone but this user.
  umask(022);
  JsonTemplateCommand command;
  std::string error;
  if (!command.parseArguments(argc, argv, &error)) {
    fprintf(stderr, "jsontemplate: %s\n", error.c_str());
    JsonTemplateCommand::printUsage("jsontemplate");
    return 2;
  }
  return command.run();
}
