#include "base/text.h"
#include "platform/console.h"
#include "platform/simulated/error_values.h"
#include "tests/simulated/file_world.h"

namespace vorn::platform::simulated {
namespace {

using ConsoleStreams = FileWorld;

constexpr char16_t kMode[] = u"a, ccs=UTF-8";
constexpr char kMark[] = "\xEF\xBB\xBF";

class LogStreams : public FileWorld {
 protected:
  LogStreams() { MakeFolder(Files(), u"C:\\logs"); }

  WideStream* OpenLog(const char16_t* path = u"C:\\logs\\x.log") {
    TheProcess();
    return _wfsopen(path, kMode, _SH_DENYNO);
  }

  std::string LogOf(std::u16string_view text) {
    WideStream* stream = OpenLog();
    EXPECT_NE(stream, nullptr);
    EXPECT_GE(fputws(std::u16string(text).c_str(), stream), 0);
    EXPECT_EQ(fclose(stream), 0);
    return Content(u"C:\\logs\\x.log");
  }
};

/// What came out of both streams, with "! " before what is standard error's.
std::string Captured(const Process& process) {
  std::string text;
  for (const ConsoleWrite& write : process.console)
    text += (write.error ? "! " : "") + ToUtf8(write.text);
  return text;
}

void Put(std::u16string_view text, WideStream* stream) {
  EXPECT_GE(fputws(std::u16string(text).c_str(), stream), 0);
}

TEST_F(ConsoleStreams, HaveTheOrderOfTheirFlushesWhenTheyAreRedirected) {
  Process& process = TheProcess();
  Put(u"one\n", StandardOutput());
  Put(u"two\n", StandardError());
  Put(u"three\n", StandardOutput());
  EXPECT_EQ(Captured(process), "");
  EXPECT_EQ(fflush(StandardError()), 0);
  EXPECT_EQ(Captured(process), "! two\n");
  EXPECT_EQ(fflush(StandardOutput()), 0);
  EXPECT_EQ(Captured(process), "! two\none\nthree\n");
  EXPECT_EQ(process.Output(), u"one\nthree\n");
  EXPECT_EQ(process.ErrorOutput(), u"two\n");
  EXPECT_EQ(fflush(StandardOutput()), 0) << "nothing is left to write";
  EXPECT_EQ(process.console.size(), 3U);
}

TEST_F(ConsoleStreams, WriteAtOnceToAConsole) {
  Process& process = TheProcess();
  process.redirected = false;
  Put(u"one\n", StandardOutput());
  Put(u"two\n", StandardError());
  Put(u"three", StandardOutput());
  EXPECT_EQ(Captured(process), "one\n! two\nthree");
}

TEST_F(ConsoleStreams, ComeOutOneAfterTheOtherWhenTheProgramReturns) {
  Process& process = TheProcess();
  Put(u"two\n", StandardError());
  Put(u"one\n", StandardOutput());
  process.Return();
  EXPECT_EQ(Captured(process), "one\n! two\n");
}

TEST_F(ConsoleStreams, LoseTheirBuffersWhenTheProcessIsKilled) {
  Process& process = TheProcess();
  Put(u"kept\n", StandardError());
  fflush(StandardError());
  Put(u"lost\n", StandardError());
  Put(u"lost\n", StandardOutput());
  process.Kill();
  EXPECT_LT(fflush(StandardOutput()), 0);
  process.Return();
  EXPECT_EQ(Captured(process), "! kept\n");
}

TEST_F(ConsoleStreams, WriteABufferThatIsFullAndKeepTheRest) {
  Process& process = TheProcess();
  const std::u16string full(2048, u'x');
  Put(full, StandardError());
  EXPECT_EQ(process.ErrorOutput(), u"") << "full, but nothing more came";
  Put(u"y", StandardError());
  EXPECT_EQ(process.ErrorOutput(), full);
  Put(full + full, StandardError());
  EXPECT_EQ(process.ErrorOutput(), full + u"y" + full + full.substr(1));
  fflush(StandardError());
  EXPECT_EQ(process.ErrorOutput(), full + u"y" + full + full);
  EXPECT_EQ(process.console.size(), 1U) << "one line, in pieces";
}

TEST_F(ConsoleStreams, LoseACharacterThatAFullBufferParts) {
  Process& process = TheProcess();
  const std::u16string before(2047, u'x');
  Put(before + u"\U0001F50A", StandardOutput());
  fflush(StandardOutput());
  EXPECT_EQ(ToUtf8(process.Output()), ToUtf8(before) + "\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST_F(ConsoleStreams, KeepWhatAFlushThatFailsDidNotWrite) {
  Process& process = TheProcess();
  Fault fault;
  fault.call = "fflush";
  fault.error = ERROR_DISK_FULL;
  process.faults = {fault};
  Put(u"one\n", StandardOutput());
  EXPECT_LT(fflush(StandardOutput()), 0);
  EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
  EXPECT_EQ(process.Output(), u"");
  Put(u"two\n", StandardOutput());
  EXPECT_EQ(fflush(StandardOutput()), 0);
  EXPECT_EQ(process.Output(), u"one\ntwo\n");
}

TEST_F(ConsoleStreams, FailWhenStandardOutputIsClosed) {
  TheProcess().standardOutputClosed = true;
  EXPECT_LT(fputws(u"one\n", StandardOutput()), 0);
  EXPECT_EQ(fflush(StandardOutput()), 0) << "nothing was taken";
  Put(u"two\n", StandardError());
  fflush(StandardError());
  EXPECT_EQ(Captured(TheProcess()), "! two\n");
}

TEST_F(ConsoleStreams, AreSilentInADeadProcess) {
  TheProcess().Kill();
  EXPECT_LT(fputws(u"one\n", StandardOutput()), 0);
  EXPECT_LT(fflush(StandardOutput()), 0);
  EXPECT_TRUE(TheProcess().console.empty());
}

TEST_F(LogStreams, StartANewFileWithAByteOrderMarkAndUseWindowsLineEnds) {
  EXPECT_EQ(LogOf(u"one\ntwo\n"), std::string(kMark) + "one\r\ntwo\r\n");
  EXPECT_EQ(LogOf(u"three\n"), std::string(kMark) + "one\r\ntwo\r\nthree\r\n");
}

TEST_F(LogStreams, WriteUtf8) {
  EXPECT_EQ(LogOf(u"\u00E9\U0001D11E"), std::string(kMark) + "\xC3\xA9\xF0\x9D\x84\x9E");
}

TEST_F(LogStreams, MarkAnEmptyFileButNotOneWithContent) {
  PutFile(Files(), u"C:\\logs\\x.log", std::string_view(""));
  EXPECT_EQ(LogOf(u"x"), std::string(kMark) + "x");
  PutFile(Files(), u"C:\\logs\\x.log", std::string_view("old\r\n"));
  EXPECT_EQ(LogOf(u"x"), "old\r\nx");
}

TEST_F(LogStreams, ContinueInTheEncodingOfTheMark) {
  PutFile(Files(), u"C:\\logs\\x.log", std::string_view("\xFF\xFE"));
  EXPECT_EQ(LogOf(u"a\n"), std::string("\xFF\xFE"
                                       "a\0\r\0\n\0",
                                       8));
  PutFile(Files(), u"C:\\logs\\x.log", std::string_view("\xFE\xFF"));
  EXPECT_EQ(OpenLog(), nullptr);
}

TEST_F(LogStreams, ReachTheDiskOnClose) {
  WideStream* stream = OpenLog();
  fputws(u"kept\n", stream);
  EXPECT_EQ(Content(u"C:\\logs\\x.log"), kMark);
  fclose(stream);
  EXPECT_EQ(Content(u"C:\\logs\\x.log"), std::string(kMark) + "kept\r\n");
}

TEST_F(LogStreams, ReachTheDiskWhenTheyAreFlushed) {
  WideStream* stream = OpenLog();
  Put(u"kept\n", stream);
  EXPECT_EQ(fflush(stream), 0);
  EXPECT_EQ(Content(u"C:\\logs\\x.log"), std::string(kMark) + "kept\r\n");
  Put(u"lost\n", stream);
  TheProcess().Kill();
  EXPECT_EQ(Content(u"C:\\logs\\x.log"), std::string(kMark) + "kept\r\n");
}

TEST_F(LogStreams, WriteABufferThatIsFullAndKeepTheRest) {
  WideStream* stream = OpenLog();
  const std::string full = std::string(kMark) + std::string(2047, 'x') + "\r\n";
  Put(std::u16string(2047, u'x') + u"\n", stream);
  EXPECT_EQ(Content(u"C:\\logs\\x.log"), kMark) << "full, but nothing more came";
  Put(u"y", stream);
  EXPECT_EQ(Content(u"C:\\logs\\x.log"), full);
  fclose(stream);
  EXPECT_EQ(Content(u"C:\\logs\\x.log"), full + "y");
}

TEST_F(LogStreams, LoseTheirBufferOnlyWhenTheProcessIsKilled) {
  fputws(u"kept\n", OpenLog());
  EndProcess();
  EXPECT_EQ(Content(u"C:\\logs\\x.log"), std::string(kMark) + "kept\r\n");
  fputws(u"lost\n", OpenLog());
  TheProcess().Kill();
  EXPECT_EQ(Content(u"C:\\logs\\x.log"), std::string(kMark) + "kept\r\n");
  EXPECT_EQ(CountOwnOpens(Files()), 0U);
}

TEST_F(LogStreams, CountAsStreamsAndNotAsHandles) {
  WideStream* stream = OpenLog();
  EXPECT_EQ(TheProcess().OpenObjects(),
            (std::map<ObjectKind, std::size_t>{{ObjectKind::Stream, 1}}));
  EXPECT_FALSE(CloseHandle(reinterpret_cast<HANDLE>(stream)));
  fclose(stream);
  EXPECT_TRUE(TheProcess().OpenObjects().empty());
  EXPECT_LT(fclose(stream), 0);
  EXPECT_LT(fputws(u"x", stream), 0);
  EXPECT_LT(fflush(stream), 0);
}

TEST_F(LogStreams, ShareWithOtherWritersUnlessTheyForbidIt) {
  PutFile(Files(), u"C:\\logs\\x.log", std::string_view("x"));
  const std::uint64_t writer =
      HoldOpen(Files(), u"C:\\logs\\x.log", GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE);
  EXPECT_NE(OpenLog(), nullptr);
  ReleaseHold(Files(), writer);
  HoldOpen(Files(), u"C:\\logs\\x.log", GENERIC_READ, FILE_SHARE_READ);
  EXPECT_EQ(OpenLog(), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_SHARING_VIOLATION);
}

struct NoLog {
  const char* what;
  void (*prepare)(FileSystem&);
  std::uint32_t error;
};

TEST_F(LogStreams, DoNotOpenUnwritableFiles) {
  const NoLog cases[] = {
      {"read-only",
       [](FileSystem& files) {
         PutFile(files, u"C:\\logs\\x.log", std::string_view("x"));
         NodeAt(files, u"C:\\logs\\x.log").attributes = FILE_ATTRIBUTE_READONLY;
       },
       ERROR_ACCESS_DENIED},
      {"a folder", [](FileSystem& files) { MakeFolder(files, u"C:\\logs\\x.log"); },
       ERROR_ACCESS_DENIED},
      {"no folder", [](FileSystem& files) { RemovePath(files, u"C:\\logs"); },
       ERROR_PATH_NOT_FOUND},
      {"forbidden",
       [](FileSystem& files) {
         PutFile(files, u"C:\\logs\\x.log", std::string_view("x"));
         NodeAt(files, u"C:\\logs\\x.log").security = *ParseSddl(u"O:SYD:P(A;;FA;;;SY)");
       },
       ERROR_ACCESS_DENIED},
      {"full disk", [](FileSystem& files) { files.volumes[0].freeBytes = 0; }, ERROR_DISK_FULL},
      {"no room for the mark", [](FileSystem& files) { files.volumes[0].freeBytes = 2; },
       ERROR_DISK_FULL},
  };
  const FileSystem before = Files();
  for (const NoLog& row : cases) {
    EndProcess();
    Files() = before;
    row.prepare(Files());
    EXPECT_EQ(OpenLog(), nullptr) << row.what;
    EXPECT_EQ(GetLastError(), row.error) << row.what;
    EXPECT_TRUE(TheProcess().OpenObjects().empty());
    EXPECT_EQ(CountOwnOpens(Files()), 0U);
  }
}

TEST_F(LogStreams, WriteWithoutReadAccess) {
  PutFile(Files(), u"C:\\logs\\x.log", std::string_view("x"));
  NodeAt(Files(), u"C:\\logs\\x.log").security = *ParseSddl(u"O:SYD:P(A;;FW;;;BA)(A;;0x80;;;BA)");
  EXPECT_EQ(LogOf(u"y"), "xy");
}

TEST_F(LogStreams, FollowLinks) {
  MakeFolder(Files(), u"C:\\elsewhere");
  PutLink(Files(), u"C:\\junction", ReparseKind::Junction, u"C:\\elsewhere", true);
  WideStream* stream = OpenLog(u"C:\\junction\\x.log");
  ASSERT_NE(stream, nullptr);
  fclose(stream);
  EXPECT_EQ(Content(u"C:\\elsewhere\\x.log"), kMark);
}

TEST_F(LogStreams, FailToFlushAndToCloseWhenTheDiskIsFull) {
  WideStream* stream = OpenLog();
  Files().volumes[0].freeBytes = 1;
  Put(u"lost\n", stream);
  EXPECT_LT(fflush(stream), 0);
  EXPECT_EQ(GetLastError(), ERROR_DISK_FULL);
  Put(u"lost\n", stream);
  EXPECT_LT(fclose(stream), 0);
  EXPECT_TRUE(TheProcess().OpenObjects().empty());
  EXPECT_EQ(Content(u"C:\\logs\\x.log"), kMark);
}

TEST_F(LogStreams, AcceptASingleMode) {
  TheProcess();
  EXPECT_EQ(_wfsopen(u"C:\\logs\\x.log", u"w, ccs=UTF-8", _SH_DENYNO), nullptr);
  EXPECT_EQ(_wfsopen(u"C:\\logs\\x.log", kMode, 0x99), nullptr);
  EXPECT_FALSE(Exists(u"C:\\logs\\x.log"));
}

TEST_F(LogStreams, InheritSecurityFromTheFolder) {
  LogOf(u"x");
  EXPECT_EQ(NodeAt(Files(), u"C:\\logs\\x.log").security,
            InheritFrom(NodeAt(Files(), u"C:\\logs").security, false, kAdministrators));
}

}  // namespace
}  // namespace vorn::platform::simulated
