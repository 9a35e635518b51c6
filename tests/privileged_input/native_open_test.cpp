#include "privileged_input/native_open.h"

#include "platform/simulated/error_values.h"
#include "platform/simulated/native_values.h"
#include "privileged_input/directory.h"
#include "privileged_input/file.h"
#include "tests/privileged_input/input_test.h"
#include "tests/privileged_input/native_call.h"

namespace vorn::privileged_input {
namespace {

using tests::NativeCall;
using tests::NativeRecorder;
using tests::Repeat;

class NativeOpen : public tests::InputTest {
 protected:
  NativeOpen() {
    platform::ConvertStringSecurityDescriptorToSecurityDescriptorW(
        tests::kProtectedSddl, platform::SDDL_REVISION_1, descriptor.Receive(), nullptr);
    sim::PutFile(Files(), u"C:\\dir\\file", "content");
  }

  /// What every open has in common.
  static void ExpectStrict(const NativeCall& call) {
    EXPECT_EQ(call.attributesLength, 48U);
    EXPECT_TRUE(call.lengthsEqual);
    EXPECT_EQ(call.objectFlags, 0x1040U);
    EXPECT_EQ(call.qualityOfService, nullptr);
    EXPECT_FALSE(call.allocationSizeGiven);
    EXPECT_EQ(call.fileAttributes, 0x80U);
    EXPECT_EQ(call.shareAccess, 1U);
    EXPECT_FALSE(call.extendedAttributesGiven);
  }

  NativeRecorder recorder;
  NativeApi api = recorder.Api();
  platform::SecurityDescriptor descriptor;
};

TEST_F(NativeOpen, OpensTheVolumeRootByItsDeviceName) {
  const Directory root = Directory::OpenAbsolute(u"C:\\", api);
  ASSERT_EQ(recorder.calls.size(), 1U);
  const NativeCall& call = recorder.calls[0];
  ExpectStrict(call);
  EXPECT_EQ(call.desiredAccess, 0x1200A1U);
  EXPECT_EQ(call.rootDirectory, nullptr);
  EXPECT_EQ(call.objectName, u"\\Device\\HarddiskVolume3\\");
  EXPECT_EQ(call.disposition, 1U);
  EXPECT_EQ(call.options, 0x200021U);
  EXPECT_EQ(call.securityDescriptor, nullptr);
}

TEST_F(NativeOpen, OpensAFolderRelativeToItsParentsHandle) {
  const Directory root = Directory::OpenAbsolute(u"C:\\", api);
  const Directory folder = Directory::OpenRelative(root, u"dir");
  ASSERT_EQ(recorder.calls.size(), 2U);
  const NativeCall& call = recorder.calls[1];
  ExpectStrict(call);
  EXPECT_EQ(call.desiredAccess, 0x1200A1U);
  EXPECT_EQ(call.rootDirectory, root.Handle());
  EXPECT_EQ(call.objectName, u"dir");
  EXPECT_EQ(call.disposition, 1U);
  EXPECT_EQ(call.options, 0x200021U);
  EXPECT_EQ(call.securityDescriptor, nullptr);
}

TEST_F(NativeOpen, CreatesAFolderWithTheRightToDeleteIt) {
  const Directory root = Directory::OpenAbsolute(u"C:\\", api);
  const Directory folder = Directory::CreateChild(root, u"new", descriptor.Get());
  ASSERT_EQ(recorder.calls.size(), 2U);
  const NativeCall& call = recorder.calls[1];
  ExpectStrict(call);
  EXPECT_EQ(call.desiredAccess, 0x1300A1U);
  EXPECT_EQ(call.rootDirectory, root.Handle());
  EXPECT_EQ(call.objectName, u"new");
  EXPECT_EQ(call.disposition, 2U);
  EXPECT_EQ(call.options, 0x200021U);
  EXPECT_EQ(call.securityDescriptor, descriptor.Get());
}

TEST_F(NativeOpen, OpensAFileForReading) {
  const Directory folder = Directory::OpenAbsolute(u"C:\\dir", api);
  const File file = File::Open(folder, u"file", 100, FileMode::ReadOnly);
  const NativeCall& call = recorder.calls.back();
  ExpectStrict(call);
  EXPECT_EQ(call.desiredAccess, 0x80120000U);
  EXPECT_EQ(call.rootDirectory, folder.Handle());
  EXPECT_EQ(call.objectName, u"file");
  EXPECT_EQ(call.disposition, 1U);
  EXPECT_EQ(call.options, 0x200060U);
  EXPECT_EQ(call.securityDescriptor, nullptr);
}

TEST_F(NativeOpen, OpensAFileForDeletion) {
  const Directory folder = Directory::OpenAbsolute(u"C:\\dir", api);
  const File file = File::Open(folder, u"file", 100, FileMode::Deletable);
  const NativeCall& call = recorder.calls.back();
  ExpectStrict(call);
  EXPECT_EQ(call.desiredAccess, 0x80130100U);
  EXPECT_EQ(call.disposition, 1U);
  EXPECT_EQ(call.options, 0x200060U);
}

TEST_F(NativeOpen, CreatesAFileWithTheRightsToWriteAndDeleteIt) {
  const Directory folder = Directory::OpenAbsolute(u"C:\\dir", api);
  const File file = File::Create(folder, u"new", descriptor.Get(), 100);
  const NativeCall& call = recorder.calls.back();
  ExpectStrict(call);
  EXPECT_EQ(call.desiredAccess, 0xC0130000U);
  EXPECT_EQ(call.rootDirectory, folder.Handle());
  EXPECT_EQ(call.objectName, u"new");
  EXPECT_EQ(call.disposition, 2U);
  EXPECT_EQ(call.options, 0x200060U);
  EXPECT_EQ(call.securityDescriptor, descriptor.Get());
}

TEST_F(NativeOpen, NeedsBothNativeFunctions) {
  NativeApi withoutOpen = api;
  withoutOpen.ntCreateFile = nullptr;
  EXPECT_FALSE(OpenNative(withoutOpen, nullptr, u"x", kOpenFile));
  EXPECT_LAST_ERROR(ERROR_PROC_NOT_FOUND);
  platform::SetLastError(0);
  NativeApi withoutErrors = api;
  withoutErrors.rtlNtStatusToDosError = nullptr;
  EXPECT_FALSE(OpenNative(withoutErrors, nullptr, u"x", kOpenFile));
  EXPECT_LAST_ERROR(ERROR_PROC_NOT_FOUND);
  EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(NativeOpen, AcceptsNamesOfUpTo32760Units) {
  EXPECT_FALSE(OpenNative(api, nullptr, Repeat(u'a', 32761), kOpenFile));
  EXPECT_LAST_ERROR(ERROR_PROC_NOT_FOUND);
  EXPECT_TRUE(recorder.calls.empty());
  recorder.answer = {platform::STATUS_ACCESS_DENIED, nullptr};
  EXPECT_FALSE(OpenNative(api, nullptr, Repeat(u'a', 32760), kOpenFile));
  EXPECT_LAST_ERROR(ERROR_ACCESS_DENIED);
  ASSERT_EQ(recorder.calls.size(), 1U);
  EXPECT_EQ(recorder.calls[0].objectName.size(), 32760U);
}

TEST_F(NativeOpen, TranslatesANegativeStatus) {
  recorder.answer = {platform::STATUS_SHARING_VIOLATION, nullptr};
  EXPECT_FALSE(OpenNative(api, nullptr, u"x", kOpenFile));
  EXPECT_LAST_ERROR(ERROR_SHARING_VIOLATION);
}

TEST_F(NativeOpen, TreatsAnyStatusThatIsNotNegativeAsSuccess) {
  platform::KernelHandle root =
      OpenNative(api, nullptr, u"\\Device\\HarddiskVolume3\\", kOpenDirectory);
  constexpr platform::NTSTATUS kStatusReparse = 0x104;
  recorder.answer = {kStatusReparse, root.Get()};
  platform::KernelHandle same = OpenNative(api, nullptr, u"x", kOpenFile);
  EXPECT_EQ(same.Get(), root.Get());
  same.Receive();
}

TEST_F(NativeOpen, DoesNotBelieveASuccessWithoutAHandle) {
  for (const platform::HANDLE nothing :
       {platform::HANDLE{nullptr}, platform::INVALID_HANDLE_VALUE}) {
    recorder.answer = {platform::STATUS_SUCCESS, nothing};
    platform::SetLastError(0);
    EXPECT_FALSE(OpenNative(api, nullptr, u"x", kOpenFile));
    EXPECT_LAST_ERROR(ERROR_INVALID_HANDLE);
  }
}

TEST_F(NativeOpen, ClosesAHandleThatCameWithAFailure) {
  platform::KernelHandle stray =
      OpenNative(api, nullptr, u"\\Device\\HarddiskVolume3\\", kOpenDirectory);
  ASSERT_TRUE(stray);
  recorder.answer = {platform::STATUS_ACCESS_DENIED, stray.Get()};
  EXPECT_FALSE(OpenNative(api, nullptr, u"x", kOpenFile));
  EXPECT_LAST_ERROR(ERROR_ACCESS_DENIED);
  EXPECT_EQ(OpenHandles(), 0U);
  stray.Receive();
}

TEST_F(NativeOpen, DeletesWhatARefusedCreationCreated) {
  const Directory folder = Directory::OpenAbsolute(u"C:\\dir", api);
  platform::KernelHandle stray =
      OpenNative(api, folder.Handle(), u"new", kCreateFile, descriptor.Get());
  ASSERT_TRUE(stray);
  recorder.answer = {platform::STATUS_ACCESS_DENIED, stray.Get()};
  EXPECT_FALSE(OpenNative(api, folder.Handle(), u"new", kCreateFile, descriptor.Get()));
  EXPECT_LAST_ERROR(ERROR_ACCESS_DENIED);
  EXPECT_FALSE(Exists(u"C:\\dir\\new"));
  EXPECT_EQ(CallsOf("SetFileInformationByHandle").size(), 1U);
  stray.Receive();
}

TEST_F(NativeOpen, LeavesWhatARefusedOpeningDidNotCreate) {
  const Directory folder = Directory::OpenAbsolute(u"C:\\dir", api);
  platform::KernelHandle stray = OpenNative(api, folder.Handle(), u"file", kOpenDeletableFile);
  ASSERT_TRUE(stray);
  recorder.answer = {platform::STATUS_ACCESS_DENIED, stray.Get()};
  EXPECT_FALSE(OpenNative(api, folder.Handle(), u"file", kOpenDeletableFile));
  EXPECT_TRUE(Exists(u"C:\\dir\\file"));
  stray.Receive();
}

TEST_F(NativeOpen, DeletesNothingWhereARefusalGaveNoHandle) {
  recorder.answer = {platform::STATUS_ACCESS_DENIED, nullptr};
  EXPECT_FALSE(OpenNative(api, nullptr, u"new", kCreateFile, descriptor.Get()));
  EXPECT_TRUE(CallsOf("SetFileInformationByHandle").empty());
}

TEST_F(NativeOpen, TellsAFolderFromAFile) {
  const Directory folder = Directory::OpenAbsolute(u"C:\\dir", api);
  const File file = File::Open(folder, u"file", 100, FileMode::ReadOnly);
  EXPECT_TRUE(IsPlainFolder(folder.Handle()));
  EXPECT_TRUE(IsPlainFile(file.Handle()));
  platform::SetLastError(0);
  EXPECT_FALSE(IsPlainFile(folder.Handle()));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
  platform::SetLastError(0);
  EXPECT_FALSE(IsPlainFolder(file.Handle()));
  EXPECT_LAST_ERROR(ERROR_FILE_INVALID);
}

TEST(NativeOpenRequests, AskForTheseRights) {
  EXPECT_EQ(kOpenDirectory.access, 0x200A1U);
  EXPECT_EQ(kCreateDirectory.access, 0x300A1U);
  EXPECT_EQ(kOpenFile.access, 0x80020000U);
  EXPECT_EQ(kOpenDeletableFile.access, 0x80030100U);
  EXPECT_EQ(kCreateFile.access, 0xC0030000U);
}

}  // namespace
}  // namespace vorn::privileged_input
