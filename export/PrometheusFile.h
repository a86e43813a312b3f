// The Prometheus text file of livedata_export: formatted into a buffer
// allocated at construction and replaced atomically every period
// (base::ReplacementFile: a temporary beside it, fsync, rename; mode 0644), so
// Prometheus's scrape through a web server and node_exporter's textfile
// collector always read one period whole.
//
// A failing write prints one line when it starts failing and one when it
// works again, never one per period.
//
// Thread-safety: one thread at a time.
#ifndef EXPORT_PROMETHEUSFILE_H_
#define EXPORT_PROMETHEUSFILE_H_

#include <stdio.h>

#include <string>

#include "export/Snapshot.h"
#include "export/TextBuffer.h"

namespace ldexport {

class PrometheusFile {
 public:
  // log receives the state lines (stderr in the program).
  PrometheusFile(const std::string& path, FILE* log);

  // Formats snapshot and replaces the file; true when the file was replaced.
  bool write(const Snapshot& snapshot);

  const std::string& path() const { return path_; }
  const TextBuffer& text() const { return text_; }

 private:
  std::string path_;
  FILE* log_;
  TextBuffer text_;
  bool failing_ = false;
};

}  // namespace ldexport

#endif  // EXPORT_PROMETHEUSFILE_H_
