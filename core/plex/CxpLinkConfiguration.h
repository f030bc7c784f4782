#ifndef VESK_CORE_PLEX_CXP_LINK_CONFIGURATION_H
#define VESK_CORE_PLEX_CXP_LINK_CONFIGURATION_H

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace vesk::core::plex {

// A board's link layout: which physical links form which camera (link group), at what speed,
// with its reader and writer of the saved XML file. In spite of the name it serves the link
// families "cxp", "clhs" and "cl"; the family names the root element of the file.
//
// Every failure is a std::runtime_error. A failed read leaves what was read before it stored.
class CxpLinkConfiguration {
 public:
  static constexpr uint32_t kMaxLinkGroups = 4;
  static constexpr uint32_t kMaxLinks = 4;
  // A link slot or master that was never set.
  static constexpr uint32_t kUnset = 0xFFFFFFFF;
  // A saved file has a few hundred bytes; a larger one than this is no configuration.
  static constexpr size_t kMaxFileSize = 1 << 20;

  static std::shared_ptr<CxpLinkConfiguration> Create(const std::string& family);

  explicit CxpLinkConfiguration(const std::string& family);
  virtual ~CxpLinkConfiguration();
  CxpLinkConfiguration(const CxpLinkConfiguration&) = delete;
  CxpLinkConfiguration& operator=(const CxpLinkConfiguration&) = delete;

  // The number of physical links; not checked against the groups.
  uint32_t GetLinks() const;
  void SetLinks(uint32_t links);
  // A count above 4 is ignored.
  uint32_t GetLinkGroupCount() const;
  void SetLinkGroupCount(uint32_t count);

  // Per group; a group not below the link group count raises "link group index out of bounds.".
  uint32_t GetSpeed(uint32_t group) const;
  void SetSpeed(uint32_t group, uint32_t speed);
  uint32_t GetStreamPacketSize(uint32_t group) const;
  void SetStreamPacketSize(uint32_t group, uint32_t size);
  // A count above 4 is ignored.
  uint32_t GetLinkCount(uint32_t group) const;
  void SetLinkCount(uint32_t group, uint32_t count);
  uint32_t GetMasterPhysicalIndex(uint32_t group) const;
  void SetMasterPhysicalIndex(uint32_t group, uint32_t index);
  uint32_t GetMasterId(uint32_t group) const;
  void SetMasterId(uint32_t group, uint32_t id);

  // Per link slot of a group; a link of 4 or more raises "link index out of bounds.".
  uint32_t GetPhysicalIndex(uint32_t group, uint32_t link) const;
  void SetPhysicalIndex(uint32_t group, uint32_t link, uint32_t index);
  uint32_t GetPLIndex(uint32_t group, uint32_t link) const;
  void SetPLIndex(uint32_t group, uint32_t link, uint32_t index);

  // Zeroes the link and link group counts; the groups keep their fields.
  void Reset();

  // Raises also when the text did not reach the file in full.
  void WriteToFile(const std::string& fileName) const;
  // Remembers the name for Reload, also when the read fails.
  void ReadFromFile(const std::string& fileName);
  // Names the text "<buffer>" in messages; the remembered file name stays.
  void ReadFromString(const char* text);
  // Reads the remembered file again, if there is one; failures pass silently.
  void Reload();

 private:
  struct Impl;
  struct LinkSlot;
  struct LinkGroup;
  class Reader;

  // The checked record of a group.
  LinkGroup& Group(uint32_t group) const;
  LinkSlot& Slot(uint32_t group, uint32_t link) const;

  std::shared_ptr<Impl> impl_;
};

}  // namespace vesk::core::plex

#endif
