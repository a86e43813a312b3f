// Entry point of the jsontemplate command (see JsonTemplateCommand.h).
#include <string>

#include "tools/jsontemplate/JsonTemplateCommand.h"

#include <stdio.h>
#include <sys/stat.h>

int main(int argc, char** argv) {
  // Files written are never writable by anyone but this user.
  umask(022);
  JsonTemplateCommand command;
  base::Status parsed = command.parseArguments(argc, argv);
  if (!parsed.ok()) {
    fprintf(stderr, "jsontemplate: %s\n", parsed.message().c_str());
    JsonTemplateCommand::printUsage("jsontemplate");
    return 2;
  }
  return command.run();
}
