// vorn_lab: the program on simulated machines that live in folders.

#include "lab/command_line.h"

#include <cstdio>

int main(int count, char** words) {
  const vorn::lab::LabResult result =
      vorn::lab::RunLab(std::vector<std::string>(words + 1, words + count));
  for (const vorn::lab::ConsolePiece& piece : result.console) {
    std::FILE* const stream = piece.error ? stderr : stdout;
    std::fwrite(piece.text.data(), 1, piece.text.size(), stream);
    std::fflush(stream);
  }
  return result.status;
}
