// The one error type of the project's own code (the daemon's own status codes
// stay where the meter's conventions put them: negative int results).
//
// A Status is either ok or names what failed: the subject (usually a path or a
// program input), the failing step ("open", "rename", "not a regular file") and
// the errno of the system call that failed, or 0 when no call failed.
// message() is the one line shown to a user:
//
//   SUBJECT: STEP                      (errnum 0)
//   SUBJECT: STEP: strerror(errnum)
//
// with "SUBJECT: " left out when the subject is empty.
//
// An ok Status holds no heap memory, so a hot path that succeeds allocates
// nothing. The type is [[nodiscard]]: every result must be looked at.
//
// Thread-safety: a value type; distinct objects may be used from any threads.
#ifndef BASE_STATUS_H_
#define BASE_STATUS_H_

#include <string>
#include <utility>

namespace base {

class [[nodiscard]] Status {
 public:
  // An ok status.
  Status() = default;

  static Status Ok() { return Status(); }
  // A failure of step on subject; errnum is errno, or 0.
  static Status Error(std::string subject, std::string step, int errnum = 0) {
    return Status(std::move(subject), std::move(step), errnum);
  }

  bool ok() const { return step_.empty(); }
  const std::string& subject() const { return subject_; }
  const std::string& step() const { return step_; }
  int errnum() const { return errnum_; }

  // The user's line (see above); "ok" for an ok status.
  std::string message() const;

  // Marks a result as deliberately not looked at (e.g. a best-effort close).
  void ignore() const {}

 private:
  Status(std::string subject, std::string step, int errnum)
      : subject_(std::move(subject)),
        step_(step.empty() ? "failed" : std::move(step)),
        errnum_(errnum) {}

  std::string subject_;
  std::string step_;
  int errnum_ = 0;
};

}  // namespace base

#endif  // BASE_STATUS_H_
