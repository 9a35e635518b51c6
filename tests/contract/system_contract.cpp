// Services, hashing, random bytes and clocks.

#include "platform/clock.h"
#include "platform/crypto.h"
#include "platform/last_error.h"
#include "platform/services.h"
#include "platform/simulated/error_values.h"
#include "platform/simulated/native_values.h"
#include "tests/contract/contract.h"

#include <cstring>

namespace vorn::contract {

using namespace platform;

namespace {

class OpenService {
 public:
  explicit OpenService(SC_HANDLE handle) : handle_(handle) {}
  OpenService(const OpenService&) = delete;
  OpenService& operator=(const OpenService&) = delete;
  ~OpenService() {
    if (handle_ != nullptr) CloseServiceHandle(handle_);
  }
  SC_HANDLE Handle() const { return handle_; }

 private:
  SC_HANDLE handle_;
};

std::string Sha256(std::string_view text, std::size_t step) {
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  NEED(BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM) == 0);
  std::uint32_t objectLength = 0;
  std::uint32_t written = 0;
  NEED(BCryptGetProperty(algorithm, BCRYPT_OBJECT_LENGTH,
                         reinterpret_cast<std::uint8_t*>(&objectLength), 4, &written) == 0);
  std::vector<std::uint8_t> object(objectLength);
  BCRYPT_HASH_HANDLE hash = nullptr;
  NEED(BCryptCreateHash(algorithm, &hash, object.data(), objectLength) == 0);
  for (std::size_t at = 0; at < text.size(); at += step) {
    const std::string_view part = text.substr(at, step);
    CHECK_EQ(BCryptHashData(hash, reinterpret_cast<const std::uint8_t*>(part.data()),
                            static_cast<std::uint32_t>(part.size())),
             0);
  }
  std::uint8_t digest[32] = {};
  CHECK_EQ(BCryptFinishHash(hash, digest, sizeof digest), 0);
  BCryptDestroyHash(hash);
  BCryptCloseAlgorithmProvider(algorithm);
  std::string hex;
  for (const std::uint8_t byte : digest) {
    hex += "0123456789abcdef"[byte >> 4];
    hex += "0123456789abcdef"[byte & 15];
  }
  return hex;
}

}  // namespace

CONTRACT(AMissingServiceDoesNotExist) {
  const OpenService manager(OpenSCManagerW(SC_MANAGER_CONNECT));
  NEED(manager.Handle() != nullptr);
  CHECK(OpenServiceW(manager.Handle(), u"VornContractNone", SERVICE_START) == nullptr);
  CHECK_EQ(GetLastError(), ERROR_SERVICE_DOES_NOT_EXIST);
}

CONTRACT(ARunningServiceIsNotStartedAgain) {
  const OpenService manager(OpenSCManagerW(SC_MANAGER_CONNECT));
  NEED(manager.Handle() != nullptr);
  const OpenService service(
      OpenServiceW(manager.Handle(), RunningService().c_str(), SERVICE_START));
  NEED(service.Handle() != nullptr);
  CHECK(!StartServiceW(service.Handle()));
  CHECK_EQ(GetLastError(), ERROR_SERVICE_ALREADY_RUNNING);
}

CONTRACT(AServiceIsOpenedOnlyThroughTheManager) {
  CHECK(OpenServiceW(nullptr, RunningService().c_str(), SERVICE_START) == nullptr);
  CHECK_EQ(GetLastError(), ERROR_INVALID_HANDLE);
}

CONTRACT(Sha256IsTheStandardsOwn) {
  CHECK_EQ(Sha256("", 1),
           std::string("e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855"));
  CHECK_EQ(Sha256("abc", 3),
           std::string("ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad"));
  const std::string long_text(1000, 'a');
  CHECK_EQ(Sha256(long_text, 7), Sha256(long_text, 1000));
}

CONTRACT(AHashTellsItsLengthAndRefusesAnother) {
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  NEED(BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM) == 0);
  std::uint32_t length = 0;
  std::uint32_t written = 0;
  CHECK_EQ(BCryptGetProperty(algorithm, BCRYPT_HASH_LENGTH,
                             reinterpret_cast<std::uint8_t*>(&length), 4, &written),
           0);
  CHECK_EQ(length, 32U);
  CHECK_EQ(written, 4U);
  CHECK_EQ(BCryptGetProperty(algorithm, BCRYPT_HASH_LENGTH,
                             reinterpret_cast<std::uint8_t*>(&length), 2, &written),
           STATUS_BUFFER_TOO_SMALL);
  CHECK_EQ(BCryptCloseAlgorithmProvider(algorithm), 0);
}

CONTRACT(AnUnknownAlgorithmIsNotFound) {
  SkipOn(Side::Wine, "answers STATUS_NOT_IMPLEMENTED");
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  CHECK_EQ(BCryptOpenAlgorithmProvider(&algorithm, u"NONE"), STATUS_NOT_FOUND);
}

CONTRACT(RandomBytesDiffer) {
  std::uint8_t first[32] = {};
  std::uint8_t second[32] = {};
  CHECK_EQ(BCryptGenRandom(nullptr, first, sizeof first, BCRYPT_USE_SYSTEM_PREFERRED_RNG), 0);
  CHECK_EQ(BCryptGenRandom(nullptr, second, sizeof second, BCRYPT_USE_SYSTEM_PREFERRED_RNG), 0);
  CHECK(std::memcmp(first, second, sizeof first) != 0);
}

CONTRACT(RandomBytesNeedAnAlgorithmOrTheSystemsChoice) {
  std::uint8_t bytes[8] = {};
  CHECK_EQ(BCryptGenRandom(nullptr, bytes, sizeof bytes, 0), STATUS_INVALID_HANDLE);
}

CONTRACT(TheTickCountPassesWithSleep) {
  const std::uint64_t before = GetTickCount64();
  Sleep(30);
  const std::uint64_t after = GetTickCount64();
  CHECK(after >= before + 15);
}

CONTRACT(TheWallClockIsADate) {
  SYSTEMTIME time = {};
  GetSystemTime(&time);
  CHECK(time.wYear >= 2024 && time.wYear < 2200);
  CHECK(time.wMonth >= 1 && time.wMonth <= 12);
  CHECK(time.wDay >= 1 && time.wDay <= 31);
  CHECK(time.wDayOfWeek <= 6);
}

CONTRACT(TheLastErrorIsKept) {
  SetLastError(0xE0000102);
  CHECK_EQ(GetLastError(), 0xE0000102U);
}

}  // namespace vorn::contract
