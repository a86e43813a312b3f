// The installed jsontemplate command against a real host map: documents and
// record separators on standard output, messages on standard error and in the
// log file, stepping with a template edited between cycles, and its exit codes.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "tests/support/Process.h"
#include "tests/support/TempDir.h"

namespace {

using testsupport::ProcessOptions;
using testsupport::ProcessResult;
using testsupport::TempDir;

const char kCatalog[] =
    "t.u16 uint16 1000\n"
    "t.f64 flt64 3.14159265\n"
    "t.ts8 ts8 2026-03-05 07:08:09\n"
    "t.ts12 ts12 2026-03-05 07:08:09\n"
    "t.bad boolean 0\n"
    "t.str16 string16 hello\n";

// Runs the tool with --step, reading each document as it comes, so that the
// test can change the map and the template between cycles.
class SteppedTool {
 public:
  explicit SteppedTool(const std::vector<std::string>& args, const std::vector<std::string>& env) {
    std::vector<std::string> argv;
    const char* emulator = getenv("LDU_TEST_EMULATOR");
    if (emulator != nullptr) {
      std::istringstream words(emulator);
      for (std::string word; words >> word;) argv.push_back(word);
    }
    argv.push_back(testsupport::stagedProgram("bin/jsontemplate"));
    argv.insert(argv.end(), args.begin(), args.end());
    int in[2], out[2];
    if (pipe(in) != 0 || pipe(out) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(in[0], 0);
      dup2(out[1], 1);
      close(in[0]);
      close(in[1]);
      close(out[0]);
      close(out[1]);
      for (const std::string& e : env) putenv(strdup(e.c_str()));
      std::vector<char*> cargv;
      for (std::string& a : argv) cargv.push_back(&a[0]);
      cargv.push_back(nullptr);
      execv(cargv[0], cargv.data());
      _exit(127);
    }
    close(in[0]);
    close(out[1]);
    toChild_ = in[1];
    fromChild_ = out[0];
  }
  ~SteppedTool() {
    if (toChild_ >= 0) close(toChild_);
    if (fromChild_ >= 0) close(fromChild_);
    if (pid_ > 0 && !reaped_) {
      kill(pid_, SIGKILL);
      waitpid(pid_, nullptr, 0);
    }
  }
  // The next document (up to the separator); "" at end of output.
  std::string next() {
    std::string doc;
    char c;
    while (read(fromChild_, &c, 1) == 1) {
      if (c == '\x1e') return doc;
      doc += c;
    }
    return doc;
  }
  void step() { ASSERT_EQ(1, write(toChild_, "\n", 1)); }
  int finish() {
    close(toChild_);
    toChild_ = -1;
    std::string rest = next();
    EXPECT_EQ("", rest);
    int status = 0;
    waitpid(pid_, &status, 0);
    reaped_ = true;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

 private:
  pid_t pid_ = -1;
  bool reaped_ = false;
  int toChild_ = -1;
  int fromChild_ = -1;
};

class Tool : public ::testing::Test {
 protected:
  Tool() {
    mapPath_ = dir_.file("datamap");
    testsupport::writeFile(dir_.file("catalog"), kCatalog);
    ProcessResult r = testsupport::runProcess(
        {testsupport::stagedProgram("bin/dmtool"), "--map", mapPath_, "create",
         dir_.file("catalog")},
        options());
    EXPECT_EQ(0, r.exitCode) << r.err;
  }

  ProcessOptions options(const std::string& stdinText = "") const {
    ProcessOptions o;
    o.env = {"DATAMAP_FILE=" + dir_.file("unused-map"), "WEB_ROOT=" + dir_.path(),
             "LIVEDATA_ROOT=" + dir_.path(), "ZUL_LOG_FILE=" + dir_.file("log"), "TZ=UTC"};
    o.stdinText = stdinText;
    return o;
  }

  void dmset(const std::string& key, const std::string& value) {
    ProcessResult r = testsupport::runProcess(
        {testsupport::stagedProgram("bin/dmtool"), "--map", mapPath_, "set", key, value},
        options());
    ASSERT_EQ(0, r.exitCode) << r.err;
  }

  ProcessResult tool(std::vector<std::string> args, const std::string& stdinText = "") {
    args.insert(args.begin(), testsupport::stagedProgram("bin/jsontemplate"));
    return testsupport::runProcess(args, options(stdinText));
  }

  // The tool stepping through cycles of the template at path with the fixture's map.
  std::unique_ptr<SteppedTool> stepped(const std::string& path, int cycles) {
    return std::make_unique<SteppedTool>(
        std::vector<std::string>{"--map", mapPath_, "--step", "--cycles", std::to_string(cycles),
                                 "--interval", "1", path},
        options().env);
  }

  // Sets key to value in the map, lets the tool take a step and returns its document.
  std::string nextAfterSet(SteppedTool& tool, const std::string& key, const std::string& value) {
    dmset(key, value);
    tool.step();
    return tool.next();
  }

  std::string writeTemplate(const std::string& text, const std::string& name = "t.json") {
    const std::string path = dir_.file(name);
    testsupport::writeFile(path, text);
    return path;
  }

  TempDir dir_;
  std::string mapPath_;
};

TEST_F(Tool, WritesEachCycleFollowedByTheRecordSeparator) {
  const std::string path =
      writeTemplate("{\"half\":<?key \"name\"=\"t.u16\" \"scale\"=\"0.5\" \"width\"=\"1\"?>,"
                    "\"wrap\":<?key \"name\"=\"t.u16\" \"scale\"=\"100\" \"width\"=\"1\"?>,"
                    "\"pi\":<?key \"name\"=\"t.f64\"?>,\"at\":\"<?key \"name\"=\"t.ts12\"?>\","
                    "\"hm\":\"<?key \"name\"=\"t.ts8\" \"timeFormat\"=\"%H:%M\"?>\","
                    "\"ok\":\"<?key \"name\"=\"t.u16\" \"isValidKey\"=\"t.bad\" \"width\"=\"3\"?>\""
                    "<?key \"name\"=\"#comment\"?>}\n");
  ProcessResult r = tool({"--map", mapPath_, "--cycles", "2", "--interval", "5", path});
  EXPECT_EQ(0, r.exitCode);
  const std::string doc =
      "{\"half\":500,\"wrap\":34464,\"pi\":             3.14159,\"at\":\"03/05/2026 07:08:09\","
      "\"hm\":\"07:08\",\"ok\":\"  ~\"}\n";
  EXPECT_EQ(doc + "\x1e" + doc + "\x1e", r.out);
  EXPECT_EQ("", r.err);
}

TEST_F(Tool, InternalVariablesFromTheCommandLine) {
  const std::string path = writeTemplate(
      "<?key \"name\"=\"$n\" \"width\"=\"1\"?>|<?key \"name\"=\"$h\" \"width\"=\"1\"?>|"
      "<?key \"name\"=\"$d\" \"width\"=\"1\"?>|<?key \"name\"=\"$b\" \"width\"=\"1\"?>|"
      "<?key \"name\"=\"$s\" \"width\"=\"1\"?>|<?key \"name\"=\"$t\"?>|<?key \"name\"=\"$t12\"?>|"
      "<?key \"name\"=\"$none\"?>\n");
  ProcessResult r = tool({"--map", mapPath_, "--interval", "1", "--var", "n=3:-42", "--var",
                          "h=4:0x10", "--var", "d=18:2.5", "--var", "b=24:true", "--var",
                          "s=20:any text at all", "--var", "t=7:2024-12-31 23:59:58", "--var",
                          "t12=23:2025-01-02 03:04:05", path});
  EXPECT_EQ(0, r.exitCode) << r.err;
  EXPECT_EQ("-42|16|2.500|1|any text at all|12/31/2024 23:59:58|01/02/2025 03:04:05|\n\x1e", r.out);
}

TEST_F(Tool, MissingKeyAndUnterminatedMarkerAreReported) {
  const std::string path =
      writeTemplate("a<?key \"name\"=\"no.such\"?>b<?key \"name\"=\"t.u16\"\n");
  ProcessResult r = tool({"--map", mapPath_, "--cycles", "2", "--interval", "1", path});
  EXPECT_EQ(0, r.exitCode);
  EXPECT_EQ("ab<?key \"name\"=\"t.u16\"\n\x1e" "ab<?key \"name\"=\"t.u16\"\n\x1e", r.out);
  EXPECT_EQ("dm_get_info error on key \"no.such\" with error code= -2\n\n"
            "/t.json : key missing terminator at position 26 - <?key \"name\"=\"t.u16\"\n\n\n"
            "/t.json : Unknown data type (0) for key \"no.such\"\n\n"
            "/t.json : Unknown data type (0) for key \"no.such\"\n\n",
            r.err);
  EXPECT_EQ("jsontemplate <3>: dm_get_info error on key \"no.such\" with error code=-2\n"
            "jsontemplate <3>: /t.json : key missing terminator at position 26 - "
            "<?key \"name\"=\"t.u16\"\n\n"
            "jsontemplate <3>: /t.json : Unknown data type (0) for key \"no.such\"\n"
            "jsontemplate <3>: /t.json : Unknown data type (0) for key \"no.such\"\n",
            testsupport::readFile(dir_.file("log")));
}

TEST_F(Tool, StepWithATemplateEditedBetweenCycles) {
  const std::string path = writeTemplate("X<?key \"name\"=\"t.u16\" \"width\"=\"1\"?>\n");
  auto t = stepped(path, 5);
  EXPECT_EQ("X1000\n", t->next());
  EXPECT_EQ("X7\n", nextAfterSet(*t, "t.u16", "7"));
  // A different size: the next cycle re-reads and appends the new contents.
  testsupport::writeFile(path, "Y<?key \"name\"=\"t.str16\" \"width\"=\"1\"?>!\n");
  t->step();
  EXPECT_EQ("X7\nYhello!\n", t->next());
  EXPECT_EQ(0, t->finish());  // end of input ends the run before the cycles are done
}

TEST_F(Tool, StepFollowsAMapReplacedBetweenCycles) {
  const std::string path = writeTemplate("X<?key \"name\"=\"t.u16\" \"width\"=\"1\"?>\n");
  auto t = stepped(path, 2);
  EXPECT_EQ("X1000\n", t->next());
  // dmtool create makes a new file and marks the old one superseded; the value
  // set afterwards exists only in the new map.
  ProcessResult r = testsupport::runProcess(
      {testsupport::stagedProgram("bin/dmtool"), "--map", mapPath_, "create",
       dir_.file("catalog")},
      options());
  ASSERT_EQ(0, r.exitCode) << r.err;
  dmset("t.u16", "8");
  t->step();
  EXPECT_EQ("X8\n", t->next());
  EXPECT_EQ(0, t->finish());
}

TEST_F(Tool, StepInFixedWidthMode) {
  const std::string path =
      writeTemplate("<?key \"name\"=\"!Default Attributes\" \"width\"=\"6\" \"precision\"=\"1\"?>"
                    "[<?key \"name\"=\"t.f64\"?>]tail\n");
  auto t = stepped(path, 3);
  EXPECT_EQ("[   3.1]tail\n", t->next());
  EXPECT_EQ("[   2.5]tail\n", nextAfterSet(*t, "t.f64", "2.5"));
  EXPECT_EQ("[12345678.5l\n", nextAfterSet(*t, "t.f64", "12345678.5"));
  EXPECT_EQ(0, t->finish());
}

TEST_F(Tool, UnopenableMapExitsOne) {
  const std::string path = writeTemplate("x\n");
  ProcessResult r = tool({"--map", dir_.file("no-map"), path});
  EXPECT_EQ(1, r.exitCode);
  EXPECT_EQ("", r.out);
  EXPECT_NE(std::string::npos, r.err.find("cannot open the datamap " + dir_.file("no-map")))
      << r.err;
}

TEST_F(Tool, BadArgumentsExitTwoWithUsage) {
  const std::string path = writeTemplate("x\n");
  const std::vector<std::vector<std::string>> bad = {
      {},
      {"--cycles", "x", path},
      {"--interval", "-1", path},
      {"--var", "novalue", path},
      {"--var", "n=2:70000", path},
      {"--var", "b=24:maybe", path},
      {"--bogus", path},
      {path, path},
      {"--map"},
  };
  for (const std::vector<std::string>& args : bad) {
    ProcessResult r = tool(args);
    EXPECT_EQ(2, r.exitCode) << args.size();
    EXPECT_NE(std::string::npos, r.err.find("usage: jsontemplate")) << r.err;
    EXPECT_EQ("", r.out);
  }
}

TEST_F(Tool, UnreadableTemplateOutputsEmptyDocuments) {
  const std::string path = dir_.file("none.json");
  ProcessResult r = tool({"--map", mapPath_, "--cycles", "2", "--interval", "1", path});
  EXPECT_EQ(0, r.exitCode);
  EXPECT_EQ("\x1e\x1e", r.out);
  const std::string line = "Unable to read json template : " + path + "\n\n";
  EXPECT_EQ(line + line + line, r.err);
}

}  // namespace
