#include "export/PrometheusFile.h"

#include "base/ReplacementFile.h"
#include "export/PrometheusText.h"

namespace ldexport {

namespace {

// Every family at its largest with long label texts stays far below this.
constexpr size_t kTextCapacity = 64 * 1024;

}  // namespace

PrometheusFile::PrometheusFile(const std::string& path, FILE* log)
    : path_(path), log_(log), text_(kTextCapacity) {}

bool PrometheusFile::write(const Snapshot& snapshot) {
  formatPrometheusText(snapshot, &text_);
  if (text_.overflowed()) {
    if (!failing_)
      fprintf(log_, "livedata_export: %s: text too long, not written\n", path_.c_str());
    failing_ = true;
    return false;
  }
  base::Status status =
      base::ReplacementFile::replace(path_.c_str(), text_.data(), text_.size(), 0644, false);
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
