// An epoll instance watching one eventfd: the sleep of an updater thread.
//
// The constructor creates both descriptors and registers the eventfd; the
// destructor unregisters and closes them. Setup failures print
// "OWNER epoll_create error=N" (eventfd, epoll_ctl EPOLL_CTL_ADD / _DEL) on
// standard error and in the runtime log, OWNER being the name given at
// construction; the waiter then simply never wakes early.
//
// wait() is a cancellation point: it enables cancellation only for the
// epoll_wait itself and restores the caller's state afterwards. Its failures
// print "LiveData epoll_wait error=N NAME" and "LiveData eventfd_read error=N":
// every updater sleeps through this one wait.
//
// Thread-safety: signal() may be called from any thread; wait() belongs to the
// one sleeping thread.
#ifndef LIVEDATA_EVENTWAITER_H_
#define LIVEDATA_EVENTWAITER_H_

class EventWaiter {
 public:
  explicit EventWaiter(const char* owner);
  ~EventWaiter();
  EventWaiter(const EventWaiter&) = delete;
  EventWaiter& operator=(const EventWaiter&) = delete;

  int epollFd() const { return epollFd_; }
  int eventFd() const { return eventFd_; }

  // Writes the value 0 to fd: that leaves an eventfd unreadable, so a sleeper is
  // not woken (stopping relies on cancellation).
  static void signal(int fd);

  // Sleeps on epfd for at most timeout_ms (negative: without limit), retrying on
  // EINTR; drains this waiter's eventfd when it woke the wait.
  void waitOn(int epfd, int timeout_ms) const;
  void wait(int timeout_ms) const { waitOn(epollFd_, timeout_ms); }

 private:
  const char* owner_;
  int epollFd_ = -1;
  int eventFd_ = -1;
};

#endif  // LIVEDATA_EVENTWAITER_H_
