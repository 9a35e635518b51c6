// What an import makes of a capture in which some facts are different, and what it refuses.

#include "base/text.h"
#include "lab/bad_input.h"
#include "lab/capture_folder.h"
#include "lab/json_text.h"
#include "lab/run_program.h"
#include "platform/simulated/audio_values.h"
#include "platform/simulated/endpoint_builder.h"
#include "platform/simulated/file_values.h"
#include "tests/capture/captured_machines.h"
#include "tests/lab/temporary_folder.h"
#include "tests/support/sample.h"

#include <gtest/gtest.h>

namespace vorn::lab {
namespace {

namespace fs = std::filesystem;
using platform::simulated::InstalledMachine;
using platform::simulated::Machine;

class ChangedCapture : public testing::Test {
 protected:
  ChangedCapture() : document_(ParseJson(capture_.document)) {}

  ImportedCapture Import() {
    capture_.document = ToReadableText(document_);
    return ImportCapture(capture_);
  }

  std::string Refusal() {
    try {
      Import();
    } catch (const BadInput& bad) {
      return bad.what();
    }
    return "accepted";
  }

  /// The facts of a file, known by its path.
  Json& File(const std::string& path) {
    for (Json& file : document_["volumes"][0]["files"]) {
      if (file["path"] == path) return file;
    }
    throw std::invalid_argument("the capture has no such file");
  }

  int Status(const std::vector<std::string>& command) {
    LabMachine lab = Import().lab;
    return RunProgram(lab, command, {}, false).result.status;
  }

  CaptureFiles capture_ = CaptureOf({InstalledMachine(), {}, {}});
  Json document_;
};

TEST_F(ChangedCapture, IsRefusedForAFileThatNoMachineHas) {
  const Json sound = document_;
  const auto refusal = [&](const std::string& file, const char* key, const Json& value) {
    document_ = sound;
    File(file)[key] = value;
    return Refusal();
  };
  const std::string inf = "Windows\\INF\\oem0.inf";
  EXPECT_EQ(refusal(inf, "size", std::uint64_t{1} << 42), "accepted");
  EXPECT_EQ(refusal(inf, "size", (std::uint64_t{1} << 42) + 1),
            "volumes[0].files[8].size: is more than 4 TiB");
  EXPECT_EQ(refusal("Windows\\INF\\oem3.inf", "size", 7),
            "volumes[0].files[11].size: is not that of the content");
  EXPECT_EQ(refusal("Windows\\INF\\oem1.inf", "path", inf + "\\below"),
            "volumes[0].files[9].path: is below a file");
  EXPECT_EQ(refusal(inf, "path", ""), "volumes[0].files[8].path: of a file must not be empty");
  EXPECT_EQ(refusal(inf, "path", "a\\"), "volumes[0].files[8].path: is no path of names");
  EXPECT_EQ(refusal(inf, "index", 3), "volumes[0].files[8].index: is not a key of a capture");
  EXPECT_EQ(refusal(inf, "stored", "x"), "volumes[0].files[8].stored: is not a key of a capture");
  EXPECT_EQ(refusal("Windows", "content", 0),
            "volumes[0].files[1].content: is not among the files of the capture");
  EXPECT_EQ(refusal(inf, "path", "Windows\\INF"), "volumes[0].files[8].path: appears twice");
}

TEST_F(ChangedCapture, HasPathsOfUpToSixtyFourNames) {
  std::string path = "1";
  for (int name = 2; name <= 64; ++name)
    path += "\\" + std::to_string(name);
  File("Windows\\INF\\oem0.inf")["path"] = path;
  EXPECT_EQ(Refusal(), "accepted");
  for (Json& file : document_["volumes"][0]["files"]) {
    if (file["path"] == path) file["path"] = path + "\\65";
  }
  EXPECT_EQ(Refusal(), "volumes[0].files[8].path: is no path of names");
}

TEST_F(ChangedCapture, IsRefusedForTwoVolumesOfOneLetterOrDevice) {
  const Json volume = {
      {"folder", "D"}, {"letter", "D"}, {"device", "\\Device\\Other"}, {"files", Json::List()}};
  document_["volumes"].push_back(volume);
  EXPECT_EQ(Refusal(), "accepted");
  document_["volumes"][1]["letter"] = "c";
  EXPECT_EQ(Refusal(), "volumes[1].letter: is also the letter of volumes[0]");
  document_["volumes"][1]["letter"] = "D";
  document_["volumes"][1]["device"] = "\\DEVICE\\harddiskvolume3";
  EXPECT_EQ(Refusal(), "volumes[1].device: is also the device of volumes[0]");
  document_["volumes"][1]["device"] = "\\Device\\Other";
  document_["volumes"][1]["letter"] = "";
  EXPECT_NE(Refusal(), "accepted");
}

TEST_F(ChangedCapture, IsRefusedForAParentThatComesLater) {
  Json::List devices = *document_["devices"].As<Json::List>();
  std::swap(devices[0], devices.back());
  document_["devices"] = devices;
  EXPECT_EQ(Refusal(), "devices[0].parent: must be an earlier device");
}

TEST_F(ChangedCapture, OfARemoteSessionHearsTheEndpointsThatItLists) {
  document_["capture"]["remoteSession"] = true;
  EXPECT_FALSE(Import().lab.machine.audio.redirected);
  EXPECT_EQ(Status({"audit-catalog"}), 0);
}

TEST_F(ChangedCapture, HasNoMappingOfADriveThatLedNowhere) {
  document_["tempFolder"] = "X:\\Temp\\";
  const Machine machine = Import().lab.machine;
  EXPECT_FALSE(machine.files.dosDevices.contains(u"X:"));
  EXPECT_EQ(machine.files.volumes.back().letter, u'X');
}

TEST_F(ChangedCapture, KeepsTheTargetOfADriveThatIsNoDisk) {
  document_["tempFolder"] = "X:\\Temp\\";
  document_["dosDevices"].push_back({{"name", "X:"}, {"target", "\\Device\\Mup\\server\\share"}});
  EXPECT_EQ(Import().lab.machine.files.dosDevices.at(u"X:"), u"\\Device\\Mup\\server\\share");
}

TEST_F(ChangedCapture, GivesAFileWithoutANameAsManyLinksAsWereSeen) {
  File("Windows\\INF\\oem0.inf")["links"] = 0;
  const Machine machine = Import().lab.machine;
  EXPECT_EQ(NodeAt(machine.files, u"C:\\Windows\\INF\\oem0.inf").reportedLinks, 0U);
}

TEST_F(ChangedCapture, KeepsTheListOfAFileThatDeniedAccess) {
  File("Windows\\INF\\oem0.inf")["openError"] = "0x5";
  const Json security = File("Windows\\INF\\oem0.inf")["security"];
  const Machine machine = Import().lab.machine;
  EXPECT_EQ(NodeAt(machine.files, u"C:\\Windows\\INF\\oem0.inf").security.owner,
            ToUtf16(*security["owner"].As<std::string>()));
}

TEST_F(ChangedCapture, PublishesTheNextPackageBehindTheLast) {
  document_["published"][0]["name"] = "oem41.inf";
  EXPECT_EQ(Import().lab.machine.store.nextNumber, 42U);
}

TEST_F(ChangedCapture, GivesTheNextEndpointANumberBehindTheLast) {
  const auto nextFor = [this](const char* id) {
    document_["audio"]["endpoints"][0]["id"] = id;
    return Import().lab.machine.audio.nextGuid;
  };
  EXPECT_EQ(nextFor("{0.0.0.00000000}.{00000000-0000-0000-0000-00000000ffff}"), 0x10000U);
  // Larger numbers are not the model's own.
  EXPECT_LT(nextFor("{0.0.0.00000000}.{00000000-0000-0000-0000-000000010000}"), 100U);
}

TEST_F(ChangedCapture, TakesAnEndpointThatIsNotListedForOneThatIsNotPresent) {
  Json::List listed;
  std::string id;
  for (const Json& each : document_["audio"]["endpoints"]) {
    const Json* const cable = each.Find("cable");
    const bool third = cable != nullptr && (*cable)["value"] == 3 && each["flow"] == "render";
    if (third) {
      id = *each["id"].As<std::string>();
    } else {
      listed.push_back(each);
    }
  }
  document_["audio"]["endpoints"] = listed;
  Machine machine = Import().lab.machine;
  const auto* const endpoint = FindEndpoint(machine, ToUtf16(id));
  ASSERT_NE(endpoint, nullptr);
  EXPECT_EQ(endpoint->state, platform::DEVICE_STATE_NOTPRESENT);
  EXPECT_TRUE(machine.devices.Find(tests::kRootId)->hidden.contains({3, 0}));
}

// ------------------------------------------------------------------------------------------------
// The folder of a capture.

TEST(CaptureFolder, HoldsSoManyBytesInAllItsFiles) {
  const TemporaryFolder place;
  const fs::path folder = place / "capture";
  WriteCaptureFolder(folder, {"{}", {Bytes{1}, Bytes{2}}});
  fs::resize_file(folder / "files" / "1", std::uintmax_t{128} << 20);
  EXPECT_THROW(ReadCaptureFolder(folder), BadInput);
}

TEST(CaptureFolder, KeepsTheZerosAtTheEndOfAFile) {
  const TemporaryFolder place;
  const fs::path folder = place / "capture";
  constexpr std::size_t kSize = 1'000'000;
  WriteCaptureFolder(folder, {"{}", {Bytes{1}}});
  fs::resize_file(folder / "files" / "0", kSize);
  Bytes wanted(kSize, 0);
  wanted[0] = 1;
  EXPECT_EQ(ReadCaptureFolder(folder).contents[0], wanted);
}

TEST(CaptureFolder, IsNotWrittenInThePlaceOfALink) {
  const TemporaryFolder place;
  fs::create_symlink("nowhere", place / "capture");
  EXPECT_THROW(WriteCaptureFolder(place / "capture", {"{}", {}}), BadInput);
}

}  // namespace
}  // namespace vorn::lab
