// Readiness notice to a service manager. Not a call of the meter's own
// libraries: their watchdog needs no readiness notice, and a build against
// them supplies this call as one that does nothing and returns 1.
//
// Thread-safety: for the daemon's main thread.
#ifndef PLATFORM_SERVICE_NOTIFY_H_
#define PLATFORM_SERVICE_NOTIFY_H_

// Tells the service manager that the service is up (every document it serves
// has been written once). The host platform sends "READY=1" to $NOTIFY_SOCKET
// only when the manager supervises this process with a watchdog (WATCHDOG_USEC
// set, WATCHDOG_PID unset or ours); from then on SIGTERM and SIGINT also send
// "STOPPING=1" before they end the process by their default action. Returns 0
// when sent, 1 when nobody is to be told, negative on error.
int service_notify_ready(void);

#endif  // PLATFORM_SERVICE_NOTIFY_H_
