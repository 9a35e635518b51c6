#include "platform/crypto.h"

#include "platform/simulated/crypto_model.h"
#include "platform/simulated/machine.h"
#include "platform/simulated/native_values.h"
#include "platform/simulated/process.h"

#include <array>
#include <gtest/gtest.h>
#include <set>

namespace vorn::platform::simulated {
namespace {

class Crypto : public ::testing::Test {
 protected:
  void SetUp() override {
    ASSERT_EQ(BCryptOpenAlgorithmProvider(&algorithm, BCRYPT_SHA256_ALGORITHM), STATUS_SUCCESS);
  }

  std::uint32_t Length(const char16_t* name) const {
    std::uint32_t value = 0;
    std::uint32_t written = 0;
    EXPECT_EQ(BCryptGetProperty(algorithm, name, reinterpret_cast<std::uint8_t*>(&value),
                                sizeof value, &written),
              STATUS_SUCCESS);
    EXPECT_EQ(written, 4U);
    return value;
  }

  BCRYPT_HASH_HANDLE NewHash() {
    object.resize(Length(BCRYPT_OBJECT_LENGTH));
    BCRYPT_HASH_HANDLE hash = nullptr;
    EXPECT_EQ(BCryptCreateHash(algorithm, &hash, object.data(),
                               static_cast<std::uint32_t>(object.size())),
              STATUS_SUCCESS);
    return hash;
  }

  std::size_t OpenHashObjects() const {
    const auto counts = process.OpenObjects();
    const auto found = counts.find(ObjectKind::Hash);
    return found == counts.end() ? 0 : found->second;
  }

  Machine machine;
  Process process{machine};
  BCRYPT_ALG_HANDLE algorithm = nullptr;
  std::vector<std::uint8_t> object;
};

TEST(Sha256Hex, ReturnsTheDigestOfItsInput) {
  EXPECT_EQ(Sha256Hex({}), "e3b0c44298fc1c149afbf4c8996fb92427ae41e4649b934ca495991b7852b855");
  EXPECT_EQ(Sha256Hex({'a', 'b', 'c'}),
            "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST_F(Crypto, HashesInPieces) {
  const BCRYPT_HASH_HANDLE hash = NewHash();
  const std::uint8_t text[] = {'a', 'b', 'c'};
  EXPECT_EQ(BCryptHashData(hash, text, 1), STATUS_SUCCESS);
  EXPECT_EQ(BCryptHashData(hash, nullptr, 0), STATUS_SUCCESS);
  EXPECT_EQ(BCryptHashData(hash, text + 1, 2), STATUS_SUCCESS);
  std::array<std::uint8_t, 32> digest = {};
  ASSERT_EQ(Length(BCRYPT_HASH_LENGTH), digest.size());
  EXPECT_EQ(BCryptFinishHash(hash, digest.data(), 32), STATUS_SUCCESS);
  EXPECT_EQ(digest[0], 0xBA);
  EXPECT_EQ(digest[31], 0xAD);
}

TEST_F(Crypto, SupportsOnlySha256) {
  BCRYPT_ALG_HANDLE other = algorithm;
  EXPECT_EQ(BCryptOpenAlgorithmProvider(&other, u"MD5"), STATUS_NOT_FOUND);
  EXPECT_EQ(other, algorithm) << "untouched";
}

TEST_F(Crypto, HasOnePropertyAndChecksTheBuffer) {
  std::uint32_t value = 7;
  std::uint32_t written = 7;
  auto* bytes = reinterpret_cast<std::uint8_t*>(&value);
  EXPECT_EQ(BCryptGetProperty(algorithm, u"BlockLength", bytes, 4, &written), STATUS_NOT_SUPPORTED);
  EXPECT_EQ(BCryptGetProperty(algorithm, BCRYPT_HASH_LENGTH, bytes, 3, &written),
            STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(value, 7U);
  EXPECT_EQ(BCryptGetProperty(nullptr, BCRYPT_HASH_LENGTH, bytes, 4, &written),
            STATUS_INVALID_HANDLE);
}

TEST_F(Crypto, RequiresTheWholeHashObject) {
  std::vector<std::uint8_t> small(Length(BCRYPT_OBJECT_LENGTH) - 1);
  BCRYPT_HASH_HANDLE hash = nullptr;
  EXPECT_EQ(
      BCryptCreateHash(algorithm, &hash, small.data(), static_cast<std::uint32_t>(small.size())),
      STATUS_BUFFER_TOO_SMALL);
  EXPECT_EQ(hash, nullptr);
}

TEST_F(Crypto, ReturnsTheDigestOnceAndOnlyWhole) {
  const BCRYPT_HASH_HANDLE hash = NewHash();
  std::array<std::uint8_t, 33> digest = {};
  EXPECT_EQ(BCryptFinishHash(hash, digest.data(), 31), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptFinishHash(hash, digest.data(), 33), STATUS_INVALID_PARAMETER);
  EXPECT_EQ(BCryptFinishHash(hash, digest.data(), 32), STATUS_SUCCESS);
  EXPECT_EQ(BCryptFinishHash(hash, digest.data(), 32), STATUS_INVALID_HANDLE);
  EXPECT_EQ(BCryptHashData(hash, digest.data(), 1), STATUS_INVALID_HANDLE);
}

TEST_F(Crypto, CountsOpenObjectsAndClosesThemOnce) {
  const BCRYPT_HASH_HANDLE hash = NewHash();
  EXPECT_EQ(OpenHashObjects(), 2U);
  EXPECT_EQ(BCryptCloseAlgorithmProvider(reinterpret_cast<BCRYPT_ALG_HANDLE>(hash)),
            STATUS_INVALID_HANDLE)
      << "a hash is no algorithm";
  EXPECT_EQ(BCryptDestroyHash(reinterpret_cast<BCRYPT_HASH_HANDLE>(algorithm)),
            STATUS_INVALID_HANDLE);
  EXPECT_EQ(BCryptDestroyHash(hash), STATUS_SUCCESS);
  EXPECT_EQ(BCryptDestroyHash(hash), STATUS_INVALID_HANDLE);
  EXPECT_EQ(BCryptCloseAlgorithmProvider(algorithm), STATUS_SUCCESS);
  EXPECT_EQ(OpenHashObjects(), 0U);
}

TEST_F(Crypto, LeavesTheLastErrorAlone) {
  process.lastError = 1234;
  std::array<std::uint8_t, 4> bytes = {};
  EXPECT_EQ(BCryptGenRandom(nullptr, bytes.data(), 4, 0), STATUS_INVALID_HANDLE);
  EXPECT_EQ(BCryptHashData(nullptr, bytes.data(), 4), STATUS_INVALID_HANDLE);
  EXPECT_EQ(process.lastError, 1234U);
}

TEST_F(Crypto, ReturnsTheSameRandomBytesOnTheSameMachine) {
  const Machine same = machine;
  std::array<std::uint8_t, 16> first = {};
  ASSERT_EQ(BCryptGenRandom(nullptr, first.data(), 16, BCRYPT_USE_SYSTEM_PREFERRED_RNG),
            STATUS_SUCCESS);
  machine.randomState = same.randomState;
  std::array<std::uint8_t, 16> again = {};
  ASSERT_EQ(BCryptGenRandom(nullptr, again.data(), 16, BCRYPT_USE_SYSTEM_PREFERRED_RNG),
            STATUS_SUCCESS);
  EXPECT_EQ(first, again);
}

TEST_F(Crypto, NeverReturnsTheSameBytesTwice) {
  std::set<std::array<std::uint8_t, 16>> drawn;
  for (int i = 0; i < 1000; ++i) {
    std::array<std::uint8_t, 16> bytes = {};
    ASSERT_EQ(BCryptGenRandom(nullptr, bytes.data(), 16, BCRYPT_USE_SYSTEM_PREFERRED_RNG),
              STATUS_SUCCESS);
    drawn.insert(bytes);
  }
  EXPECT_EQ(drawn.size(), 1000U);
}

TEST_F(Crypto, WritesExactlyTheRequestedRandomBytes) {
  std::array<std::uint8_t, 13> bytes = {};
  ASSERT_EQ(BCryptGenRandom(nullptr, bytes.data(), 11, BCRYPT_USE_SYSTEM_PREFERRED_RNG),
            STATUS_SUCCESS);
  EXPECT_EQ(bytes[11], 0);
  EXPECT_EQ(bytes[12], 0);
  EXPECT_EQ(BCryptGenRandom(nullptr, nullptr, 1, BCRYPT_USE_SYSTEM_PREFERRED_RNG),
            STATUS_INVALID_PARAMETER);
}

TEST_F(Crypto, FailsWithThePlannedStatus) {
  Fault fault;
  fault.call = "BCryptGenRandom";
  fault.error = 0xC0000001;
  process.faults.push_back(fault);
  std::array<std::uint8_t, 4> bytes = {};
  EXPECT_EQ(BCryptGenRandom(nullptr, bytes.data(), 4, BCRYPT_USE_SYSTEM_PREFERRED_RNG),
            STATUS_UNSUCCESSFUL);
  EXPECT_EQ(bytes, (std::array<std::uint8_t, 4>{}));
}

}  // namespace
}  // namespace vorn::platform::simulated
