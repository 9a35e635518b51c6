#include "lab/file_facts.h"

namespace vorn::lab {

using platform::simulated::ReparseKind;
using platform::simulated::Volume;

namespace {

constexpr const char* kReparseKinds[] = {"none", "junction", "symbolicLink", "other"};

/// A drive letter as a text of one character; empty when there is none.
struct DriveLetter {
  char16_t& letter;
};

Json ToJson(const DriveLetter& drive) {
  return drive.letter == 0 ? Json("") : lab::ToJson(std::u16string(1, drive.letter));
}

void FromJson(const Json& json, const std::string& path, DriveLetter drive) {
  const std::string& text = ReadString(json, path);
  const bool letter = text.size() == 1 &&
                      ((text[0] >= 'A' && text[0] <= 'Z') || (text[0] >= 'a' && text[0] <= 'z'));
  if (!letter && !text.empty()) throw BadInput(path, "must be one letter, or empty");
  drive.letter = letter ? static_cast<char16_t>(text[0]) : u'\0';
}

}  // namespace

template <class Facts>
void Describe(Facts& facts, FileTimesFacts& times) {
  facts.Fact("creation", times.creation);
  facts.Fact("lastAccess", times.lastAccess);
  facts.Fact("lastWrite", times.lastWrite);
  facts.Fact("change", times.change);
}

template <class Facts>
void Describe(Facts& facts, FileFacts& file) {
  facts.Required("path", file.path);
  facts.Unusual("index", file.index);
  facts.Unusual("stored", file.stored);
  facts.Unusual("shortName", file.shortName);
  facts.Unusual("deletePending", file.deletePending);
  facts.Unusual("security", file.security);
  facts.Unusual("attributes", Coded{file.attributes});
  facts.UnusualChoice("reparse", file.reparse, kReparseKinds);
  facts.Unusual("target", file.target);
  facts.Unusual("times", file.times);
  facts.Unusual("reportedLinks", file.reportedLinks);
  facts.Unusual("reportedType", file.reportedType);
  facts.Unusual("reportedIndex", Coded{file.reportedIndex});
  facts.Unusual("reportedPages", file.reportedPages);
}

bool FileFacts::SaysOfNode() const {
  return security || attributes || reparse != ReparseKind::None || !target.empty() || times ||
         reportedLinks || reportedType || reportedIndex || !reportedPages.empty();
}

namespace {

template <class Facts>
void DescribeVolume(Facts& facts, VolumeFacts& record) {
  Volume& volume = record.volume;
  facts.Required("folder", record.folder);
  facts.Fact("letter", DriveLetter{volume.letter});
  facts.Fact("device", volume.device);
  facts.Fact("guid", volume.guid);
  facts.Fact("serial", Coded{volume.serial});
  facts.Fact("readOnly", volume.readOnly);
  facts.Unusual("scattersListings", volume.scattersListings);
  facts.Unusual("omitsDots", volume.omitsDots);
  facts.Fact("freeBytes", volume.freeBytes);
  facts.Unusual("reportedRoot", volume.reportedRoot);
  facts.Fact("files", record.files);
}

template <class Facts>
void DescribeHeld(Facts& facts, HeldFile& held) {
  facts.Required("path", held.path);
  facts.Fact("access", Coded{held.access});
  facts.Fact("share", Coded{held.share});
  facts.Unusual("until", held.until);
  facts.Fact("description", held.description);
}

}  // namespace

void Describe(FactWriter& facts, VolumeFacts& volume) {
  DescribeVolume(facts, volume);
}
void Describe(FactReader& facts, VolumeFacts& volume) {
  DescribeVolume(facts, volume);
}
void Describe(FactWriter& facts, HeldFile& held) {
  DescribeHeld(facts, held);
}
void Describe(FactReader& facts, HeldFile& held) {
  DescribeHeld(facts, held);
}

}  // namespace vorn::lab
