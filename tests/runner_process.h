// Programs as a test runs them: wlc itself and those it meets, each with a deadline.
//
//   Process wlc = Wlc({"run", "--script", "-"});
//   wlc.Write("init\n");
//   ASSERT_TRUE(wlc.Await("status   0"));     of either output
//   EXPECT_EQ(wlc.Finish(), 0);
#ifndef NUVREL_TESTS_RUNNER_PROCESS_H_
#define NUVREL_TESTS_RUNNER_PROCESS_H_

#include <string>
#include <vector>

class Process {
 public:
  explicit Process(const std::vector<std::string>& arguments);
  ~Process();  // kills what still runs
  Process(const Process&) = delete;
  Process& operator=(const Process&) = delete;

  void Write(const std::string& text) const;
  // Reads until `text` has appeared in Out or Error; false when it ended, or did not for a minute.
  bool Await(const std::string& text);
  void Signal(int number) const;
  // Closes its input and reads to its end. Its exit status; -1 when it was killed or did not end.
  int Finish();

  int Id() const { return mId; }
  const std::string& Out() const { return mOut; }
  const std::string& Error() const { return mError; }

 private:
  bool ReadSome();

  int mId = -1;
  int mInput = -1;
  int mOutputs[2] = {-1, -1};
  std::string mOut;
  std::string mError;
};

// The wlc that was built, with these arguments.
Process Wlc(std::vector<std::string> arguments);

// A directory that goes with the test.
class TestDirectory {
 public:
  TestDirectory();
  ~TestDirectory();
  TestDirectory(const TestDirectory&) = delete;
  TestDirectory& operator=(const TestDirectory&) = delete;
  const std::string& Path() const { return mPath; }
  // Writes a file into it and returns its path.
  std::string File(const std::string& name, const std::string& content) const;

 private:
  std::string mPath;
};

std::vector<std::string> Lines(const std::string& text);
// What stands behind `label` in the lines of a session that begin with it, times left out.
std::vector<std::string> Labelled(const std::string& text, const std::string& label);
// Socket files that the process with this id has left behind.
std::vector<std::string> LeftBehind(int process);

#endif  // NUVREL_TESTS_RUNNER_PROCESS_H_
