// Which identities are those of the product's package.

#include "inf_reading.h"

#include <functional>
#include <gtest/gtest.h>
#include <optional>

namespace vorn {
namespace {

using namespace platform::simulated;
using namespace tests;

TEST(HasExactPackageContract, AcceptsTheProductsSourceInf) {
  EXPECT_TRUE(HasExactPackageContract(SoundIdentity()));
  EXPECT_FALSE(HasExactPackageContract(InfIdentity()));
}

TEST(HasExactPackageContract, DoesNotLookAtThePublishedName) {
  InfIdentity identity = SoundIdentity();
  identity.publishedInfName = u"anything";
  EXPECT_TRUE(HasExactPackageContract(identity));
}

struct ContractCase {
  const char* name;
  std::function<void(InfIdentity&)> change;
  bool ok;
};

class PackageContract : public ::testing::TestWithParam<ContractCase> {};

TEST_P(PackageContract, IsKeptOrBroken) {
  InfIdentity identity = SoundIdentity();
  GetParam().change(identity);
  EXPECT_EQ(HasExactPackageContract(identity), GetParam().ok);
}

INSTANTIATE_TEST_SUITE_P(
    Changes, PackageContract,
    ::testing::Values(
        ContractCase{"InfNameInAnotherCase",
                     [](InfIdentity& i) { i.originalInfName = u"VORN_Audio.INF"; }, true},
        ContractCase{"InfNameWithATrailingBlank",
                     [](InfIdentity& i) { i.originalInfName = u"vorn_audio.inf "; }, false},
        ContractCase{"InfNamedOtherwise",
                     [](InfIdentity& i) { i.originalInfName = u"vorn_audio2.inf"; }, false},
        ContractCase{"InfNameWithADotlessI",
                     [](InfIdentity& i) { i.originalInfName = u"vorn_audıo.inf"; }, false},
        ContractCase{"OriginalCatalogInAnotherCase",
                     [](InfIdentity& i) { i.originalCatalogName = u"VORN_AUDIO.CAT"; }, true},
        ContractCase{"OriginalCatalogOtherwise",
                     [](InfIdentity& i) { i.originalCatalogName = u"oem3.cat"; }, false},
        ContractCase{"ProviderInAnotherCase",
                     [](InfIdentity& i) { i.providerName = u"vorn audio"; }, true},
        ContractCase{"ProviderOtherwise", [](InfIdentity& i) { i.providerName = u"VORN"; }, false},
        ContractCase{"ClassInAnotherCase", [](InfIdentity& i) { i.className = u"Media"; }, true},
        ContractCase{"ClassInLowerCase", [](InfIdentity& i) { i.className = u"media"; }, true},
        ContractCase{"ClassAndMore", [](InfIdentity& i) { i.className = u"MEDIA2"; }, false},
        ContractCase{"ProviderAndMore", [](InfIdentity& i) { i.providerName = u"VORN Audio 2"; },
                     false},
        ContractCase{"ClassOtherwise", [](InfIdentity& i) { i.className = u"SYSTEM"; }, false},
        ContractCase{
            "GuidInAnotherCase",
            [](InfIdentity& i) { i.classGuid = u"{4D36E96C-E325-11CE-BFC1-08002BE10318}"; }, true},
        ContractCase{"GuidWithoutBraces",
                     [](InfIdentity& i) { i.classGuid = u"4d36e96c-e325-11ce-bfc1-08002be10318"; },
                     false},
        ContractCase{"CatalogInAnotherCase",
                     [](InfIdentity& i) { i.catalogFile = u"Vorn_Audio.cat"; }, true},
        ContractCase{"CatalogOtherwise", [](InfIdentity& i) { i.catalogFile = u"other.cat"; },
                     false},
        ContractCase{"NoDate", [](InfIdentity& i) { i.driverDate.clear(); }, false},
        ContractCase{"NoVersion", [](InfIdentity& i) { i.driverVersion.clear(); }, false},
        ContractCase{"AnyDateAndVersion",
                     [](InfIdentity& i) { i.driverDate = i.driverVersion = u"?"; }, true},
        ContractCase{"HashWithOneUpperCaseDigit", [](InfIdentity& i) { i.infSha256[0] = u'A'; },
                     true},
        ContractCase{"HashOf63", [](InfIdentity& i) { i.infSha256.resize(63); }, false},
        ContractCase{"HashOf65", [](InfIdentity& i) { i.infSha256 += u'0'; }, false},
        ContractCase{"HashWithG", [](InfIdentity& i) { i.infSha256[63] = u'g'; }, false},
        ContractCase{"HashWithUpperCaseG", [](InfIdentity& i) { i.infSha256[63] = u'G'; }, false},
        ContractCase{"NoHash", [](InfIdentity& i) { i.infSha256.clear(); }, false},
        ContractCase{"NoModel", [](InfIdentity& i) { i.hasExactModel = false; }, false},
        ContractCase{"NoService", [](InfIdentity& i) { i.hasExactService = false; }, false}),
    [](const auto& row) { return std::string(row.param.name); });

TEST(HasExactPackageContract, RefusesASourceInfOfAnotherName) {
  Machine machine = BareMachine();
  PutFile(machine.files, u"C:\\pkg\\driver\\other.inf", SoundInf());
  const std::optional<InfIdentity> identity = ReadSource(machine, u"C:\\pkg\\driver\\other.inf");
  ASSERT_TRUE(identity);
  EXPECT_EQ(identity->originalInfName, u"other.inf");
  EXPECT_FALSE(HasExactPackageContract(*identity));
}

}  // namespace
}  // namespace vorn
