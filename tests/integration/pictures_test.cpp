// Each picture of docs/pictures shows what its row of the table of decisions does today.

#include "tests/integration/pictures.h"

#include "tests/lab/temporary_folder.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace vorn::tests {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> Pictures() {
  std::vector<fs::path> pictures;
  for (const auto& entry : fs::directory_iterator(VORN_PICTURES))
    pictures.push_back(entry.path());
  std::sort(pictures.begin(), pictures.end());
  return pictures;
}

TEST(Pictures, AreThere) {
  EXPECT_GE(Pictures().size(), 3U);
}

TEST(Pictures, ShowWhatTheirRowsDo) {
  const lab::TemporaryFolder temporary;
  for (const fs::path& picture : Pictures()) {
    DrawRow(picture.stem().string(), temporary / "now.svg");
    EXPECT_EQ(WordsOfPicture(lab::ReadHostFile(picture)),
              WordsOfPicture(lab::ReadHostFile(temporary / "now.svg")))
        << picture << ": draw it again with tools/pictures";
  }
}

TEST(Pictures, AreSmall) {
  for (const fs::path& picture : Pictures())
    EXPECT_LT(fs::file_size(picture), 100'000U) << picture;
}

TEST(PictureWords, LeaveOutTheCountsOfCalls) {
  EXPECT_EQ(
      WordsOfPicture("<text class=\"a\" x=\"1\">Prove</text><text x=\"2\">2.5 s, 536 calls"
                     "</text><text x=\"1\">1 call</text><text y=\"1\">exit status 0 after "
                     "2.5 s of machine time, 1,630 platform calls</text>"),
      (std::vector<std::string>{"Prove", "2.5 s", "exit status 0 after 2.5 s of machine time"}));
}

}  // namespace
}  // namespace vorn::tests
