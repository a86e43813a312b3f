// The daemon's command-line help texts.
#ifndef DAEMON_APPUSAGE_H_
#define DAEMON_APPUSAGE_H_

#include <stdio.h>

// The full usage text ("-h").
void print_out_app_usage_help(FILE* stream, const char* program_path);

// The version block followed by the short usage line ("-?" and unknown options).
void print_out_app_short_usage(const char* program_path);

// "version: VERSION built on DATE" ("-V").
void print_out_app_version();

#endif  // DAEMON_APPUSAGE_H_
