// The common service calls: text escaping, checksum, instance detection, pid
// file, detaching, heartbeat datagrams, the log file sink and file ownership.
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include <gtest/gtest.h>

#include "platform/common_api.h"
#include "tests/support/TempDir.h"

namespace {

using testsupport::readFile;
using testsupport::TempDir;

TEST(StrJsonNormalize, EscapeTable) {
  struct Row {
    std::string in;
    std::string out;
  } table[] = {
      {"", ""},
      {"plain text 123", "plain text 123"},
      {"a\"b", "a\\\"b"},
      {"back\\slash", "back\\\\slash"},
      {"\b\f\n\r\t", "\\b\\f\\n\\r\\t"},
      {std::string("\x01\x1f\x0b\x7f", 4), "\\u0001\\u001f\\u000b\x7f"},
      {"\x1a", "\\u001a"},
      {"a/b", "a/b"},
      {"caf\xc3\xa9 \xff", "caf\xc3\xa9 \xff"},
  };
  for (const Row& row : table) {
    std::string out = "old content";
    strJSON_normalize(out, row.in.c_str());
    EXPECT_EQ(row.out, out) << row.in;
  }
}

TEST(StrJsonNormalize, ReusesCapacity) {
  std::string out;
  out.reserve(128);
  const char* before = out.data();
  strJSON_normalize(out, "Meter \"A\"\\\n\x02");
  EXPECT_EQ("Meter \\\"A\\\"\\\\\\n\\u0002", out);
  EXPECT_EQ(before, out.data());
}

TEST(Crc16Down, CheckValue) {
  const unsigned char data[] = "987654321";
  EXPECT_EQ(0x4B37, CRC16_down(0xFFFF, 9, data + 8));
  EXPECT_EQ(0x1234, CRC16_down(0x1234, 0, data + 8));
  // Two halves chain: the first result is the second's initial value.
  unsigned short first = CRC16_down(0xFFFF, 4, data + 8);
  EXPECT_EQ(0x4B37, CRC16_down(first, 5, data + 4));
}

TEST(Crc16Down, SingleByteByHand) {
  // 0xFFFF ^ 0x01 = 0xFFFE, then eight shifts of the reflected polynomial 0xA001:
  // FFFE -> 7FFF -> 9FFE -> 4FFF -> 87FE -> 43FF -> 81FE -> 40FF -> 807E.
  const unsigned char one = 0x01;
  EXPECT_EQ(0x807E, CRC16_down(0xFFFF, 1, &one));
}

// The eight shift-and-xor steps per byte, last byte first.
unsigned short crcBitByBit(unsigned short init, int len, const unsigned char* p) {
  unsigned int crc = init;
  for (int i = 0; i < len; ++i) {
    crc ^= *(p - i);
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 1u) ? (crc >> 1) ^ 0xA001u : crc >> 1;
  }
  return static_cast<unsigned short>(crc);
}

TEST(Crc16Down, EveryByteAndStartValueAgreesWithBitByBit) {
  for (unsigned int init = 0; init < 0x10000u; init += 257u) {
    for (unsigned int value = 0; value < 256u; ++value) {
      const unsigned char byte = static_cast<unsigned char>(value);
      const unsigned short start = static_cast<unsigned short>(init);
      ASSERT_EQ(crcBitByBit(start, 1, &byte), CRC16_down(start, 1, &byte)) << init << " " << value;
    }
  }
  unsigned char record[512];
  for (size_t i = 0; i < sizeof record; ++i) record[i] = static_cast<unsigned char>(i * 131u + 7u);
  EXPECT_EQ(crcBitByBit(0xFFFF, 510, record + 511), CRC16_down(0xFFFF, 510, record + 511));
}

// Runs body in a forked child with its own command name; the child's exit
// status is the test result (0 = pass, else the failing step).
int inChildNamed(const char* name, int (*body)()) {
  pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_NAME, name, 0, 0, 0);
    _exit(body());
  }
  int status = 0;
  waitpid(child, &status, 0);
  return WIFEXITED(status) ? WEXITSTATUS(status) : 100;
}

int commPidSteps() {
  if (process_comm_pid(0) != 0) return 1;
  int ready[2];
  if (pipe(ready) != 0) return 2;
  pid_t sibling = fork();
  if (sibling == 0) {  // shares our command name
    close(ready[0]);
    if (write(ready[1], "x", 1) != 1) _exit(1);
    pause();
    _exit(0);
  }
  char byte;
  close(ready[1]);
  if (read(ready[0], &byte, 1) != 1) return 3;
  int found = process_comm_pid(0);
  kill(sibling, SIGKILL);
  waitpid(sibling, nullptr, 0);
  if (found != sibling) return 4;
  if (process_comm_pid(0) != 0) return 5;
  return 0;
}

TEST(ProcessCommPid, FindsAnotherProcessWithOurName) {
  std::string name = "cpt" + std::to_string(getpid() % 1000000);
  EXPECT_EQ(0, inChildNamed(name.c_str(), commPidSteps));
}

TEST(PidFile, CreatesParentsAndWritesPidAndVersion) {
  TempDir dir;
  std::string path = dir.file("a/b/c/livedata.pid");
  int pid = 0;
  ASSERT_EQ(0, set_pid_file_version(&pid, path.c_str(), 65, "5.1.0"));
  EXPECT_EQ(getpid(), pid);
  EXPECT_EQ(std::to_string(getpid()) + "\n5.1.0\n", readFile(path));
  ASSERT_EQ(0, set_pid_file_version(&pid, path.c_str(), 65, "6"));
  EXPECT_EQ(std::to_string(getpid()) + "\n6\n", readFile(path));
  testsupport::writeFile(dir.file("file"), "x");
  EXPECT_EQ(-1, set_pid_file_version(&pid, dir.file("file/pid").c_str(), 65, "1"));
}

TEST(Daemonize, DetachesAndKeepsStandardOutput) {
  TempDir dir;
  std::string report = dir.file("report");
  std::string out = dir.file("out");
  pid_t child = fork();
  ASSERT_GE(child, 0);
  if (child == 0) {
    int fd = open(out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(fd, 1);
    close(fd);
    if (daemonize_withSTDFILE() != 0) _exit(3);
    char cwd[64] = {};
    if (getcwd(cwd, sizeof(cwd)) == nullptr) _exit(4);
    struct stat in, null;
    fstat(0, &in);
    stat("/dev/null", &null);
    FILE* file = fopen((report + ".tmp").c_str(), "w");
    fprintf(file, "%d %d %s %d", static_cast<int>(getpid()), getsid(0) == getpid() ? 1 : 0, cwd,
            in.st_rdev == null.st_rdev && S_ISCHR(in.st_mode) ? 1 : 0);
    fclose(file);
    rename((report + ".tmp").c_str(), report.c_str());
    printf("daemon speaking\n");
    fflush(stdout);
    _exit(0);
  }
  int status = 0;
  ASSERT_EQ(child, waitpid(child, &status, 0));
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
  ASSERT_TRUE(testsupport::waitFor([&] { return readFile(out) == "daemon speaking\n"; }));
  int pid = 0, leader = 1, nullIn = 0;
  char cwd[64] = {};
  ASSERT_EQ(4, sscanf(readFile(report).c_str(), "%d %d %63s %d", &pid, &leader, cwd, &nullIn));
  EXPECT_NE(child, pid);
  EXPECT_EQ(0, leader);  // second fork: not a session leader, cannot regain a terminal
  EXPECT_STREQ("/", cwd);
  EXPECT_EQ(1, nullIn);
}

class HeartbeatTest : public ::testing::Test {
 protected:
  void TearDown() override {
    if (fd_ >= 0) close(fd_);
    unsetenv("NOTIFY_SOCKET");
  }
  void bindAt(const std::string& name) {
    fd_ = socket(AF_UNIX, SOCK_DGRAM, 0);
    ASSERT_GE(fd_, 0);
    struct sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    memcpy(address.sun_path, name.data(), name.size());
    if (name[0] == '@') address.sun_path[0] = '\0';
    socklen_t length = static_cast<socklen_t>(offsetof(struct sockaddr_un, sun_path) +
                                              name.size() + (name[0] == '@' ? 0 : 1));
    ASSERT_EQ(0, bind(fd_, reinterpret_cast<struct sockaddr*>(&address), length)) << strerror(errno);
    struct timeval timeout = {5, 0};
    setsockopt(fd_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof(timeout));
    setenv("NOTIFY_SOCKET", name.c_str(), 1);
  }
  std::string receive() {
    char buffer[64];
    ssize_t n = recv(fd_, buffer, sizeof(buffer), 0);
    return n < 0 ? std::string("<nothing>") : std::string(buffer, static_cast<size_t>(n));
  }

  TempDir dir_;
  int fd_ = -1;
};

TEST_F(HeartbeatTest, SendsWatchdogDatagramToPathSocket) {
  bindAt(dir_.file("notify.sock"));
  EXPECT_EQ(0, heartbeat_notify());
  EXPECT_EQ("WATCHDOG=1", receive());
  EXPECT_EQ(0, heartbeat_notify());
  EXPECT_EQ("WATCHDOG=1", receive());
  EXPECT_EQ(0, heartbeat_cleanup(-1));
}

TEST_F(HeartbeatTest, AbstractSocket) {
  bindAt("@ldu-platform-test-" + std::to_string(getpid()));
  EXPECT_EQ(0, heartbeat_notify());
  EXPECT_EQ("WATCHDOG=1", receive());
}

TEST_F(HeartbeatTest, UnsetMeansNoWatchdog) {
  unsetenv("NOTIFY_SOCKET");
  EXPECT_EQ(1, heartbeat_notify());
  setenv("NOTIFY_SOCKET", "", 1);
  EXPECT_EQ(1, heartbeat_notify());
  setenv("NOTIFY_SOCKET", dir_.file("nobody-listens").c_str(), 1);
  EXPECT_LT(heartbeat_notify(), 0);
}

TEST(ZulLog, FileSinkRecords) {
  TempDir dir;
  std::string file = dir.file("log");
  setenv("ZUL_LOG_FILE", file.c_str(), 1);
  ZUL_LOG_CHANNEL channel;
  memset(&channel, 0x55, sizeof(channel));
  ASSERT_EQ(0, open_zul_log(&channel, "livedata_update_runtime", 3, 152));
  EXPECT_STREQ("livedata_update_runtime", channel.name);
  EXPECT_EQ(3, channel.option);
  EXPECT_EQ(152, channel.facility);
  EXPECT_NE(0, channel.open);
  EXPECT_EQ(0, write_zul_log(&channel, 3, "LiveData epoll_wait error=9 EBADF\n", 0));
  EXPECT_EQ(0, write_zul_log(&channel, 5, "no newline", 0));
  EXPECT_EQ(0, write_zul_log(&channel, 3, "", 0));
  EXPECT_EQ(0, write_zul_log(&channel, 3, "two\nlines\n", 0));
  EXPECT_EQ(
      "livedata_update_runtime <3>: LiveData epoll_wait error=9 EBADF\n"
      "livedata_update_runtime <5>: no newline\n"
      "livedata_update_runtime <3>: \n"
      "livedata_update_runtime <3>: two\nlines\n",
      readFile(file));
  EXPECT_EQ(0, close_zul_log(&channel));
  EXPECT_EQ(0, channel.open);
  std::string other = dir.file("other");
  setenv("ZUL_LOG_FILE", other.c_str(), 1);  // read at each write
  ASSERT_EQ(0, open_zul_log(&channel, "x", 3, 152));
  EXPECT_EQ(0, write_zul_log(&channel, 3, "moved", 0));
  EXPECT_EQ("x <3>: moved\n", readFile(other));
  unsetenv("ZUL_LOG_FILE");
}

TEST(ChownToParentDir, GivesTheDirectoryOwner) {
  TempDir dir;
  std::string file = dir.file("doc.json");
  testsupport::writeFile(file, "{}");
  EXPECT_EQ(0, chown_to_parent_dir(file.c_str()));
  struct stat fileStat, dirStat;
  ASSERT_EQ(0, stat(file.c_str(), &fileStat));
  ASSERT_EQ(0, stat(dir.path().c_str(), &dirStat));
  EXPECT_EQ(dirStat.st_uid, fileStat.st_uid);
  EXPECT_EQ(dirStat.st_gid, fileStat.st_gid);
  EXPECT_EQ(-1, chown_to_parent_dir(dir.file("missing/doc.json").c_str()));
  EXPECT_EQ(-1, chown_to_parent_dir(dir.file("absent.json").c_str()));
}

}  // namespace
