#include "daemon/AppUsage.h"

#include "daemon/VersionInformation.h"

void print_out_app_usage_help(FILE* stream, const char* program_path) {
  fprintf(stream, "Usage: %s [options]\n", program_path);
  fprintf(stream, "options:\n");
  fprintf(stream, " -d               Run application in debug mode, without daemonized\n");
  fprintf(stream,
          " -m <mask>        Specify mask flags for debugging, 0x0001:livedata, 0x0002:energy, "
          "0x0004:flicker, 0x0008:phasor, 0x0010:polling, 0x0020:thd, 0x0040:demand\n");
  fprintf(stream, " -p <file>        Specify pid fle name path\n");
  fprintf(stream, " -V               Print out version and buildtime information\n");
  fprintf(stream, " -?               build version and date\n");
  fprintf(stream, " -h               help\n");
}

void print_out_app_short_usage(const char* program_path) {
  VI_print_FileVersion_FileDate();
  printf("Usage: %s -p pidfile \n", program_path);
}

void print_out_app_version() {
  char fileVersion[kVersionRecordSize];
  char fileDate[kVersionRecordSize];
  printf("version: %s built on %s\n", VI_record_value(kVerFileVersion, fileVersion),
         VI_record_value(kVerFileDate, fileDate));
}
