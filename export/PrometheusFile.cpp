#include "export/PrometheusFile.h"

#include <unistd.h>

#include "export/PrometheusText.h"
#include "export/ReplaceFile.h"

namespace ldexport {

namespace {

// Every family at its largest with long label texts stays far below this.
constexpr size_t kTextCapacity = 64 * 1024;

std::string temporaryPathFor(const std::string& path) {
  size_t slash = path.rfind('/');
  std::string directory = slash == std::string::npos ? "" : path.substr(0, slash + 1);
  std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
  return directory + "." + name + "." + std::to_string(getpid()) + ".tmp";
}

}  // namespace

PrometheusFile::PrometheusFile(const std::string& path, FILE* log)
    : path_(path), temporaryPath_(temporaryPathFor(path)), log_(log), text_(kTextCapacity) {}

bool PrometheusFile::write(const Snapshot& snapshot) {
  formatPrometheusText(snapshot, &text_);
  if (text_.overflowed()) {
    if (!failing_) fprintf(log_, "livedata_export: %s: text too long, not written\n", path_.c_str());
    failing_ = true;
    return false;
  }
  base::Status status =
      replaceFile(path_.c_str(), temporaryPath_.c_str(), text_.data(), text_.size());
  if (!status.ok()) {
    if (!failing_) fprintf(log_, "livedata_export: %s\n", status.message().c_str());
    failing_ = true;
    return false;
  }
  if (failing_) fprintf(log_, "livedata_export: %s: written again\n", path_.c_str());
  failing_ = false;
  return true;
}

}  // namespace ldexport
