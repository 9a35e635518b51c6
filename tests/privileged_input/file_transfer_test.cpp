#include "privileged_input/file_transfer.h"

#include "platform/security.h"
#include "privileged_input/file.h"
#include "tests/privileged_input/input_test.h"

#include <algorithm>
#include <string>
#include <vector>

namespace vorn::privileged_input {
namespace {

class FileTransfer : public tests::InputTest {
 protected:
  static sim::Bytes Pattern(std::size_t size) {
    sim::Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i)
      bytes[i] = static_cast<std::uint8_t>(i * 31 + i / 257);
    return bytes;
  }
  File OpenSource(sim::Bytes content) {
    sim::PutFile(Files(), u"C:\\source", std::move(content));
    return File::OpenAbsolute(u"C:\\source", LoadNativeApi(), 100 * kTransferSize,
                              FileMode::ReadOnly);
  }
  File CreateTarget() {
    platform::SecurityDescriptor descriptor;
    platform::ConvertStringSecurityDescriptorToSecurityDescriptorW(
        tests::kProtectedSddl, platform::SDDL_REVISION_1, descriptor.Receive(), nullptr);
    return File::Create(Directory::OpenAbsolute(u"C:\\Temp", LoadNativeApi()), u"target",
                        descriptor.Get(), 100);
  }
};

TEST_F(FileTransfer, ReadsPiecesOfAMebibyteIntoOneBuffer) {
  const std::size_t size = 2 * kTransferSize + 3;
  const File source = OpenSource(Pattern(size));
  sim::Bytes buffer(size);
  EXPECT_TRUE(ReadExactly(source.Handle(), buffer.data(), size));
  EXPECT_EQ(buffer, Pattern(size));
  std::vector<std::string> sizes;
  for (const auto& call : CallsOf("ReadFile"))
    sizes.push_back(call.Argument("nNumberOfBytesToRead"));
  EXPECT_EQ(sizes, (std::vector<std::string>{"1048576", "1048576", "3"}));
}

TEST(TransferBuffer, IsZeroWhateverATransferHasLeftInIt) {
  for (const std::size_t size : {std::size_t{3}, std::size_t{kTransferSize}, std::size_t{100}}) {
    std::uint8_t* const bytes = ZeroedTransferBuffer(size);
    EXPECT_EQ(std::count(bytes, bytes + kTransferSize, 0), kTransferSize) << "before " << size;
    std::fill_n(bytes, size, std::uint8_t{0xFF});
  }
}

TEST_F(FileTransfer, ReadsFromTheFilePositionUntilItIsSetBack) {
  const File source = OpenSource({1, 2, 3, 4});
  sim::Bytes two(2);
  EXPECT_TRUE(ReadExactly(source.Handle(), two.data(), two.size()));
  EXPECT_TRUE(ReadExactly(source.Handle(), two.data(), two.size()));
  EXPECT_EQ(two, (sim::Bytes{3, 4}));
  EXPECT_TRUE(SeekToStart(source.Handle()));
  EXPECT_TRUE(ReadExactly(source.Handle(), two.data(), two.size()));
  EXPECT_EQ(two, (sim::Bytes{1, 2}));
}

TEST_F(FileTransfer, RefusesAFileThatEndsEarly) {
  const File source = OpenSource(Pattern(10));
  sim::Bytes buffer(11);
  platform::SetLastError(0);
  EXPECT_FALSE(ReadExactly(source.Handle(), buffer.data(), buffer.size()));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
}

TEST_F(FileTransfer, WritesWithOneCall) {
  const File target = CreateTarget();
  ASSERT_TRUE(target);
  EXPECT_TRUE(WriteExactly(target.Handle(), Pattern(10).data(), 10));
  EXPECT_EQ(CallsOf("WriteFile").size(), 1U);
  EXPECT_EQ(*sim::ReadWholeFile(Files(), u"C:\\Temp\\target"), Pattern(10));
}

TEST_F(FileTransfer, RefusesAShortWrite) {
  const File target = CreateTarget();
  AddFault("WriteFile", sim::FaultKind::Short).amount = 9;
  platform::SetLastError(0);
  EXPECT_FALSE(WriteExactly(target.Handle(), Pattern(10).data(), 10));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
}

TEST_F(FileTransfer, KeepsTheErrorOfTheCallThatFailed) {
  const File target = CreateTarget();
  std::uint8_t byte = 0;
  FailCall("SetFilePointerEx", platform::ERROR_DISK_FULL);
  EXPECT_FALSE(SeekToStart(target.Handle()));
  EXPECT_LAST_ERROR(ERROR_DISK_FULL);
  FailCall("ReadFile", platform::ERROR_NOT_READY);
  EXPECT_FALSE(ReadExactly(target.Handle(), &byte, 1));
  EXPECT_LAST_ERROR(ERROR_NOT_READY);
  FailCall("WriteFile", platform::ERROR_GEN_FAILURE);
  EXPECT_FALSE(WriteExactly(target.Handle(), &byte, 1));
  EXPECT_LAST_ERROR(ERROR_GEN_FAILURE);
}

}  // namespace
}  // namespace vorn::privileged_input
