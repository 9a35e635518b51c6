#include "lab/driver_facts.h"

#include "base/text.h"

namespace vorn::lab {

using platform::simulated::CableFlow;
using platform::simulated::DriverImage;
using platform::simulated::DriverStore;
using platform::simulated::PoolEntry;
using platform::simulated::PublishedPackage;
using platform::simulated::SoundImage;

namespace {

constexpr const char* kFlows[] = {"render", "capture"};

// Records of the document's lists, one for each entry of a map.

struct CodeError {
  std::uint32_t key = 0;
  std::uint32_t value = 0;
};
struct CodeDelay {
  std::uint32_t key = 0;
  std::uint64_t value = 0;
};
struct CodeReply {
  std::uint32_t key = 0;
  Bytes value;
};
struct CableError {
  CableFlow key;
  std::uint32_t value = 0;
};

template <class Facts>
void Describe(Facts& facts, CodeError& item) {
  facts.Required("code", Coded{item.key});
  facts.Required("error", Coded{item.value});
}

template <class Facts>
void Describe(Facts& facts, CodeDelay& item) {
  facts.Required("code", Coded{item.key});
  facts.Required("milliseconds", item.value);
}

template <class Facts>
void Describe(Facts& facts, CodeReply& item) {
  facts.Required("code", Coded{item.key});
  facts.Required("bytes", item.value);
}

template <class Facts>
void DescribeCable(Facts& facts, CableFlow& cable) {
  facts.Required("cable", cable.first);
  facts.Choice("flow", cable.second, kFlowNames);
}

template <class Facts>
void Describe(Facts& facts, CableError& item) {
  DescribeCable(facts, item.key);
  facts.Required("error", Coded{item.value});
}

/// Describes what differs from `sound`, the faultless image of the same version.
template <class Facts>
void DescribeImage(Facts& facts, DriverImage& image, const DriverImage& sound) {
  facts.Unusual("loadedVersion", Coded{image.loadedVersion}, sound.loadedVersion);
  facts.Unusual("revision", image.revision, sound.revision);
  facts.Unusual("lifecycleAbi", image.lifecycleAbi, sound.lifecycleAbi);
  facts.Unusual("sharedMemoryAbi", image.sharedMemoryAbi, sound.sharedMemoryAbi);
  facts.Unusual("capabilities", Coded{image.capabilities}, sound.capabilities);
  facts.Unusual("statusBytes", image.statusBytes, sound.statusBytes);
  facts.Unusual("pool", image.pool, sound.pool);
  facts.Unusual("poolCount", image.poolCount, sound.poolCount);
  facts.Unusual("poolBytes", image.poolBytes, sound.poolBytes);
  facts.Unusual("leaseBytes", image.leaseBytes, sound.leaseBytes);
  facts.template UnusualList<CodeError>("failures", image.failures);
  facts.template UnusualList<CodeDelay>("delays", image.delays);
  facts.template UnusualList<CodeReply>("replies", image.replies);
  facts.template UnusualList<CableError>("refusesToHide", image.refusesToHide);
  facts.template UnusualList<CableError>("refusesToShow", image.refusesToShow);
  facts.Unusual("startProblem", image.startProblem, sound.startProblem);
  facts.Unusual("startDelay", image.startDelay, sound.startDelay);
  facts.Unusual("refusesUnload", image.refusesUnload, sound.refusesUnload);
  facts.Unusual("needsRestart", image.needsRestart, sound.needsRestart);
  facts.Unusual("registersControlInterface", image.registersControlInterface,
                sound.registersControlInterface);
  facts.Unusual("registersAudioInterface", image.registersAudioInterface,
                sound.registersAudioInterface);
}

}  // namespace

const ChoiceNames kFlowNames = kFlows;

template <class Facts>
void Describe(Facts& facts, PoolEntry& entry) {
  facts.Fact("cable", entry.cable);
  facts.Fact("flow", entry.flow);
  facts.Fact("name", entry.name);
}

void Describe(FactWriter& facts, DriverImage& image) {
  const std::u16string version = ToUtf16(VersionText(image));
  facts.Fact("version", version);
  DescribeImage(facts, image, SoundImage(version));
}

void Describe(FactReader& facts, DriverImage& image) {
  std::u16string version = u"0.0.0.0";
  facts.Fact("version", version);
  if (ToUtf16(VersionText(SoundImage(version))) != version) {
    throw BadInput(facts.PathOf("version"),
                   "must be four numbers like 26.8.10.5, the first three up to 255");
  }
  image = SoundImage(version);
  DescribeImage(facts, image, image);
}

void Describe(FactWriter& facts, CableFlow& cable) {
  DescribeCable(facts, cable);
}
void Describe(FactReader& facts, CableFlow& cable) {
  DescribeCable(facts, cable);
}

template <class Facts>
void Describe(Facts& facts, PublishedPackage& package) {
  facts.Required("publishedInf", package.publishedInf);
  facts.Fact("originalInf", package.originalInf);
  facts.Fact("originalCatalog", package.originalCatalog);
  facts.Fact("image", package.image);
  facts.Unusual("uninstallError", Coded{package.uninstallError});
  facts.Unusual("uninstallKeepsFile", package.uninstallKeepsFile);
  facts.Unusual("foreign", package.foreign);
}

namespace {

template <class Facts>
void DescribeStore(Facts& facts, DriverStore& store) {
  facts.Fact("packages", store.packages);
  facts.Fact("nextNumber", store.nextNumber);
  facts.Unusual("updateError", Coded{store.updateError});
  facts.Unusual("updateNeedsRestart", store.updateNeedsRestart);
}

}  // namespace

void Describe(FactWriter& facts, DriverStore& store) {
  DescribeStore(facts, store);
}
void Describe(FactReader& facts, DriverStore& store) {
  DescribeStore(facts, store);
}

}  // namespace vorn::lab
