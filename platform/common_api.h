// Calls of the meter's common service library (libcommon_api) that this program uses:
// process housekeeping, the watchdog heartbeat, the platform log channel and small
// text and checksum helpers.
//
// Thread-safety: the log calls and the text helpers may be called from any thread;
// the process calls are for the start-up thread.
#ifndef PLATFORM_COMMON_API_H_
#define PLATFORM_COMMON_API_H_

#include <stddef.h>
#include <sys/types.h>

#include <string>

// Returns the pid of another running process with the same command name as this
// one, or 0 when none runs (negative on error). which is reserved (pass 0).
int process_comm_pid(int which);

// Detaches the process from its terminal and session (fork, setsid, fork,
// chdir "/", standard input from /dev/null). Standard output and error stay
// connected to whatever they were. Returns 0 in the detached process.
int daemonize_withSTDFILE(void);

// Stores the caller's pid into *pid and writes the pid file at path, creating
// missing parent directories: the pid on the first line, version on the second.
// mode is the platform's file-mode selector (65 on this meter). Returns 0 or -1.
int set_pid_file_version(int* pid, const char* path, int mode, const char* version);

// Tells the platform watchdog that the process is alive. Returns 0 when a
// notification was sent, 1 when no watchdog listens, negative on error.
int heartbeat_notify(void);
// Ends the heartbeat (status is reserved; -1 at shutdown). Returns 0.
int heartbeat_cleanup(int status);

// A platform log channel.
typedef struct ZUL_LOG_CHANNEL {
  char name[64];  // identity of the channel in the system log
  int option;     // system-log options (3 = pid and console)
  int facility;   // system-log facility (152 = local3)
  int open;       // non-zero once opened
} ZUL_LOG_CHANNEL;

// Opens a channel: name becomes the system log's ident. Returns 0.
int open_zul_log(ZUL_LOG_CHANNEL* channel, const char* name, int option, int facility);
// Writes one line with the given severity (3 = error). flags is reserved (0).
int write_zul_log(ZUL_LOG_CHANNEL* channel, int severity, const char* text, int flags);
int close_zul_log(ZUL_LOG_CHANNEL* channel);

// Gives path the owner and group of its parent directory. Returns 0 or -1.
int chown_to_parent_dir(const char* path);

// Replaces out with in escaped for use inside a JSON string.
void strJSON_normalize(std::string& out, const char* in);

// CRC-16/MODBUS update of init over len bytes read downwards: p[0], p[-1], ...,
// p[-(len - 1)].
unsigned short CRC16_down(unsigned short init, int len, const unsigned char* p);

#endif  // PLATFORM_COMMON_API_H_
