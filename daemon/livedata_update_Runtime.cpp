#include "daemon/livedata_update_Runtime.h"

#include <errno.h>
#include <fcntl.h>
#include <mxml.h>
#include <stdarg.h>
#include <stdlib.h>
#include <strings.h>
#include <unistd.h>

#include "base/InputFile.h"
#include "livedata/JsonDirectory.h"
#include "livedata/RuntimeLog.h"
#include "profile/ProfileLabel.h"

livedata_update_Runtime ldu_Runtime;

namespace {

const char kRootElement[] = "livedata_update_run_time";
const char kProfileLabelFile[] = "device_profile_label.json";
constexpr int kMaxOpens = 10;

// A setting's element, searched anywhere below the root.
mxml_node_t* findSetting(mxml_node_t* root, const char* name) {
  return mxmlFindElement(root, root, name, nullptr, nullptr, MXML_DESCEND);
}

bool isYes(const char* value) { return value != nullptr && strcasecmp(value, "yes") == 0; }

// Sets *interval from the element's "interval" attribute (base 10) when present.
void applyInterval(mxml_node_t* root, const char* name, int* interval) {
  mxml_node_t* node = findSetting(root, name);
  if (node == nullptr) return;
  const char* value = mxmlElementGetAttr(node, "interval");
  if (value != nullptr) *interval = static_cast<int>(strtol(value, nullptr, 10));
}

}  // namespace

livedata_update_Runtime::livedata_update_Runtime() {
  open_zul_log(&channel_, "livedata_update_runtime", 3, 152);
  set_runtime_log_channel(&channel_);
  const char* web = getenv("WEB_ROOT");
  webRoot_ = web != nullptr ? web : "";
  snprintf(profileLabelPath_, sizeof profileLabelPath_, "%s%s%s", webRoot_, kJsonDirectory,
           kProfileLabelFile);
}

livedata_update_Runtime::~livedata_update_Runtime() {
  if (runtime_log_channel() == &channel_) set_runtime_log_channel(nullptr);
  close_zul_log(&channel_);
}

void livedata_update_Runtime::log(const char* format, ...) {
  char text[256];
  va_list args;
  va_start(args, format);
  vsnprintf(text, sizeof text, format, args);
  va_end(args);
  write_zul_log(&channel_, kRuntimeLogSeverity, text, 0);
}

FILE* livedata_update_Runtime::openWithRetries(const char* path, int* attempts) {
  *attempts = 0;
  for (;;) {
    int fd = -1;
    base::Status status = base::InputFile::open(path, O_RDONLY, kMaxRuntimeFileSize, &fd);
    ++*attempts;
    if (status.ok()) {
      FILE* file = fdopen(fd, "r");
      if (file == nullptr) close(fd);
      return file;
    }
    // A FIFO, a device or a huge file is no configuration; retrying will not
    // change that. Nor will a missing or forbidden file appear within milliseconds.
    if (base::InputFile::refusal(status) != base::InputFile::Refusal::kCannotOpen) return nullptr;
    const int error = status.errnum();
    if (error == ENOENT || error == EACCES || error == ELOOP || *attempts >= kMaxOpens) {
      return nullptr;
    }
    usleep(1000);
  }
}

int livedata_update_Runtime::loadRuntimeFile(const char* path) {
  int attempts = 0;
  FILE* file = openWithRetries(path, &attempts);
  if (file == nullptr) {
    log("load_runtime_xml:Failed to open runttime cfg file '%s'\n", path);
    return 1;
  }
  mxml_node_t* tree = mxmlLoadFile(nullptr, file, MXML_NO_CALLBACK);
  fclose(file);

  // Without an XML declaration the top node is the root element itself; with
  // one, the root is found below the declaration node.
  mxml_node_t* root = nullptr;
  if (tree != nullptr) {
    const char* name = mxmlGetElement(tree);
    if (name != nullptr && strcasecmp(name, kRootElement) == 0) {
      root = tree;
    } else {
      root = mxmlFindElement(tree, tree, kRootElement, nullptr, nullptr, MXML_DESCEND);
    }
  }
  if (root == nullptr) {
    log("load_runtime_xml: Unable to load xml, exit");
    if (tree != nullptr) mxmlDelete(tree);
    return 1;
  }

  applyInterval(root, "flicker", &flickerInterval_);
  applyInterval(root, "thd", &thdInterval_);
  applyInterval(root, "energy", &energyInterval_);
  applyInterval(root, "phasor", &phasorInterval_);
  applyInterval(root, "polling", &pollingInterval_);
  applyInterval(root, "symm", &symmInterval_);

  if (mxml_node_t* node = findSetting(root, "daemonize")) {
    // An element without "enable" switches daemonizing off.
    daemonize_ = isYes(mxmlElementGetAttr(node, "enable"));
    if (const char* pid = mxmlElementGetAttr(node, "pid_file")) pidFile_ = pid;
  }
  if (mxml_node_t* node = findSetting(root, "heartbeat")) {
    // Files must carry "enable" here; a missing one counts as not "yes".
    heartbeatEnable_ = isYes(mxmlElementGetAttr(node, "enable"));
    if (const char* value = mxmlElementGetAttr(node, "interval")) {
      heartbeatInterval_ = static_cast<int>(strtol(value, nullptr, 0));
    }
  }
  if (mxml_node_t* node = findSetting(root, "verbose")) {
    const char* level = mxmlElementGetAttr(node, "level");
    verboseLevel_ = level != nullptr ? static_cast<int>(strtol(level, nullptr, 0)) : 0;
  }

  mxmlDelete(tree);
  return 0;
}

int livedata_update_Runtime::print_profile_label(const char* settings_file_path) {
  return ProfileLabel::print_profile_label(settings_file_path, profileLabelPath_);
}
