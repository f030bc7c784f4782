#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/support/TempDir.h"
#include "tests/unit/zip/ByteFields.h"
#include "vesk_genicam/impl/ZipReader.h"

namespace {

using vesk::test::AppendLe;
using vesk::test::Bytes;
using vesk::test::BytesOf;
using vesk::test::Le;
using vesk::test::PutLe;
using Files = std::vector<std::pair<std::string, Bytes>>;

// Where the parts of a one-entry archive stand, found the way unzip would find them.
struct Layout {
  size_t endRecord;
  size_t directory;
  size_t dataStart;
};

Layout LayoutOf(const Bytes& zip) {
  Layout layout{};
  layout.endRecord = std::string(zip.begin(), zip.end()).rfind(std::string("PK\x05\x06", 4));
  layout.directory = Le(zip, layout.endRecord + 16);
  layout.dataStart = 30 + Le(zip, 26, 2) + Le(zip, 28, 2);
  return layout;
}

// The bytes with the field of `width` bytes at `at` set to `value`.
Bytes Patched(Bytes bytes, size_t at, uint32_t value, int width = 4) {
  PutLe(bytes, at, value, width);
  return bytes;
}

CZipReader::DataArrayPtr Share(const Bytes& bytes) {
  return vesk::templates::container::ManagedDataArray::Copy(bytes.data(), bytes.size());
}

Bytes Contents(const CZipReader::DataArrayPtr& file) {
  const auto* data = reinterpret_cast<const uint8_t*>(file->data);
  return Bytes(data, data + file->size);
}

// The first entry of `zip`, or nothing; the reader's two calls in the order a port makes them.
CZipReader::DataArrayPtr FirstFile(const Bytes& zip) {
  CZipReader reader(Share(zip));
  if (!reader.HasFiles()) return nullptr;
  return reader.GetFile(0);
}

// The contents of the first entry of `zip`, or nothing.
std::optional<Bytes> FirstContents(const Bytes& zip) {
  auto file = FirstFile(zip);
  if (!file) return std::nullopt;
  return Contents(file);
}

// Text without zip signatures, compressible but not trivially.
Bytes SampleText(size_t lines) {
  std::string text;
  for (size_t i = 0; i < lines; ++i) {
    text += "<Integer Name=\"Width" + std::to_string(i * 7919 % 1000) + "\"><Value>" +
            std::to_string(i * i) + "</Value></Integer>\n";
  }
  return BytesOf(text);
}

// Archives made by the zip tool in a directory of their own.
class ZipReaderTest : public ::testing::Test {
 protected:
  // A fresh archive of `files` from "zip -q -X `options` out.zip <names>`tail`".
  Bytes Zip(const std::string& options, const Files& files, const std::string& tail = "") {
    std::filesystem::remove(dir_.File("out.zip"));
    std::string command = "cd '" + dir_.Path() + "' && zip -q -X " + options + " out.zip";
    for (const auto& [name, content] : files) {
      vesk::test::WriteText(dir_.File(name), std::string(content.begin(), content.end()));
      command += " " + name;
    }
    command += tail;
    EXPECT_EQ(std::system(command.c_str()), 0) << command;
    return vesk::test::ReadBytes(dir_.File("out.zip"));
  }

  vesk::test::TempDir dir_;
};

TEST_F(ZipReaderTest, StoredAndDeflatedEntriesComeBackByteForByte) {
  Bytes binary;
  for (int i = 0; i < 1000; ++i) binary.push_back(static_cast<uint8_t>(i * 31));
  const Bytes stored = Zip("-0", {{"binary.bin", binary}});
  ASSERT_EQ(Le(stored, 8, 2), 0u) << "zip -0 did not store";
  EXPECT_EQ(FirstContents(stored), binary);

  const Bytes text = SampleText(5000);
  const Bytes deflated = Zip("-9", {{"camera.xml", text}});
  ASSERT_EQ(Le(deflated, 8, 2), 8u) << "zip did not deflate";
  ASSERT_LT(deflated.size(), text.size() / 4);
  auto file = FirstFile(deflated);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(Contents(file), text);
  // The XML parsers take the result as a C string.
  EXPECT_EQ(file->data[file->size], '\0');

  const Bytes empty = Zip("", {{"empty.xml", {}}});
  ASSERT_EQ(Le(empty, 8, 2), 0u);
  EXPECT_EQ(FirstContents(empty), Bytes{});

  // Of a usual archive only the first entry is found: the walk lands in its name.
  const Bytes two = Zip("", {{"first.xml", SampleText(300)}, {"second.txt", BytesOf("second")}});
  ASSERT_EQ(Le(two, LayoutOf(two).endRecord + 10, 2), 2u);
  CZipReader reader(Share(two));
  EXPECT_TRUE(reader.HasFiles());
  file = reader.GetFile(0);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(Contents(file), SampleText(300));
  EXPECT_EQ(reader.GetFile(1), nullptr);
  EXPECT_EQ(reader.GetFile(0xFFFFFFFFu), nullptr);
}

// An archive whose directory entries carry no name: the fixed 46-byte steps then meet every
// entry, up to the first thing that is not one.
TEST_F(ZipReaderTest, DirectoryWithoutVariableFieldsIsWalkedByIndex) {
  const Bytes contents[] = {BytesOf("first"), BytesOf("the second one")};
  Bytes zip;
  uint32_t offsets[2];
  for (int i = 0; i < 2; ++i) {
    const uint32_t size = static_cast<uint32_t>(contents[i].size());
    const uint32_t crc = static_cast<uint32_t>(crc32(0, contents[i].data(), size));
    offsets[i] = static_cast<uint32_t>(zip.size());
    // Version 10; flags, method (stored), time and date 0; a one-byte name, no extra field.
    AppendLe(zip, {{0x04034B50, 4}, {10, 2}, {0, 8}, {crc, 4}, {size, 4}, {size, 4}});
    AppendLe(zip, {{1, 2}, {0, 2}, {'n', 1}});
    zip.insert(zip.end(), contents[i].begin(), contents[i].end());
  }
  const uint32_t directory = static_cast<uint32_t>(zip.size());
  for (int i = 0; i < 2; ++i) {
    const uint32_t size = static_cast<uint32_t>(contents[i].size());
    AppendLe(zip, {{0x02014B50, 4}, {0, 16}, {size, 4}, {size, 4}, {0, 14}, {offsets[i], 4}});
  }
  const uint32_t end = static_cast<uint32_t>(zip.size());
  // One entry more than there is.
  AppendLe(zip, {{0x06054B50, 4}, {0, 6}, {3, 2}, {end - directory, 4}, {directory, 4}, {0, 2}});

  CZipReader reader(Share(zip));
  ASSERT_TRUE(reader.HasFiles());
  for (uint32_t i = 0; i < 2; ++i) {
    auto file = reader.GetFile(i);
    ASSERT_NE(file, nullptr) << i;
    EXPECT_EQ(Contents(file), contents[i]);
  }
  EXPECT_EQ(reader.GetFile(2), nullptr) << "the end record was taken for an entry";
}

TEST_F(ZipReaderTest, EndRecordIsFoundBehindLongestCommentAndNoFurther) {
  const Bytes content = SampleText(20);
  // zip turns each newline into CR LF and drops the last one: 809 * 81 + 6 = 65535.
  std::string comment;
  for (int i = 0; i < 809; ++i) comment += std::string(79, 'c') + "\n";
  vesk::test::WriteText(dir_.File("comment.txt"), comment + "cccccc");
  Bytes zip = Zip("-z", {{"camera.xml", content}}, " < comment.txt");
  const size_t endRecord = LayoutOf(zip).endRecord;
  ASSERT_EQ(Le(zip, endRecord + 20, 2), 65535u);
  ASSERT_EQ(zip.size(), endRecord + 22 + 65535);
  EXPECT_EQ(FirstContents(zip), content);
  // One byte more behind the record puts it one step beyond the search.
  zip.push_back('c');
  EXPECT_FALSE(CZipReader(Share(zip)).HasFiles());
}

TEST_F(ZipReaderTest, BuffersThatDoNotStartWithALocalHeaderHaveNoFiles) {
  const Bytes zip = Zip("", {{"camera.xml", SampleText(20)}});
  ASSERT_NE(FirstFile(zip), nullptr);
  Bytes prefixed = zip;
  prefixed.insert(prefixed.begin(), 'X');
  Bytes shortHeader(21);
  PutLe(shortHeader, 0, 0x04034B50);
  for (const Bytes& bytes : {prefixed, Patched(zip, 3, 0x05, 1), Bytes{}, Bytes{0x50, 0x4B, 0x03},
                             Bytes{0x50, 0x4B, 0x03, 0x04}, shortHeader}) {
    EXPECT_FALSE(CZipReader(Share(bytes)).HasFiles()) << bytes.size();
    EXPECT_EQ(CZipReader(Share(bytes)).GetFile(0), nullptr) << bytes.size();
  }
  EXPECT_FALSE(CZipReader(nullptr).HasFiles());
  EXPECT_EQ(CZipReader(nullptr).GetFile(0), nullptr);
}

TEST_F(ZipReaderTest, DeflateNeedsOnlyTheCompressedSizeAndTheMethod) {
  const Bytes text = SampleText(2000);
  const Bytes zip = Zip("", {{"camera.xml", text}});
  ASSERT_EQ(Le(zip, 8, 2), 8u);
  const Layout layout = LayoutOf(zip);
  // The uncompressed size in the directory need not be right.
  for (uint32_t size :
       {0u, 1u, uint32_t(text.size() - 1), uint32_t(text.size() * 3), 0xFFFFFFFFu}) {
    EXPECT_EQ(FirstContents(Patched(zip, layout.directory + 24, size)), text) << size;
  }

  // A broken stream gives what was inflated, at the full size.
  auto file = FirstFile(Patched(zip, layout.directory + 20, Le(zip, layout.directory + 20) / 2));
  ASSERT_NE(file, nullptr);
  ASSERT_EQ(file->size, text.size());
  EXPECT_NE(Contents(file), text);
  EXPECT_TRUE(std::equal(text.begin(), text.begin() + 64, Contents(file).begin()));

  for (uint16_t method : {9, 12, 14, 1}) {
    CZipReader reader(Share(Patched(Patched(zip, 8, method, 2), layout.directory + 10, method, 2)));
    EXPECT_TRUE(reader.HasFiles());
    EXPECT_EQ(reader.GetFile(0), nullptr) << "method " << method;
  }
}

TEST_F(ZipReaderTest, DirectoryIsReadOnceAndOnDemand) {
  const Bytes content = SampleText(20);
  const Bytes zip = Zip("-0", {{"camera.xml", content}});
  // The first call may be a GetFile.
  CZipReader direct(Share(zip));
  auto file = direct.GetFile(0);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(Contents(file), content);
  EXPECT_TRUE(direct.HasFiles());

  // The buffer is shared: repairing it after a failed read changes nothing.
  auto buffer = Share(zip);
  buffer->data[0] = 0;
  CZipReader reader(buffer);
  EXPECT_FALSE(reader.HasFiles());
  buffer->data[0] = 0x50;
  EXPECT_FALSE(reader.HasFiles());
  EXPECT_EQ(reader.GetFile(0), nullptr);
  EXPECT_TRUE(CZipReader(buffer).HasFiles());
}

TEST_F(ZipReaderTest, OffsetsAndLengthsOutsideBufferGiveErrors) {
  const Bytes stored = Zip("-0", {{"camera.xml", SampleText(20)}});
  const Layout layout = LayoutOf(stored);
  const uint32_t size = static_cast<uint32_t>(stored.size());
  const uint32_t dataSize = size - static_cast<uint32_t>(layout.dataStart);

  // Directories that cannot be read.
  EXPECT_FALSE(CZipReader(Share(Patched(stored, layout.endRecord + 10, 0, 2))).HasFiles());
  for (uint32_t offset : {size, size - 45, 0xFFFFFFFFu, 0x80000000u}) {
    EXPECT_FALSE(CZipReader(Share(Patched(stored, layout.endRecord + 16, offset))).HasFiles())
        << "directory at " << offset;
  }
  // Entries that point outside the buffer.
  for (const Bytes& zip : {Patched(stored, layout.directory + 42, size - 29),
                           Patched(stored, layout.directory + 42, 0xFFFFFFFFu),
                           Patched(stored, layout.directory + 24, dataSize + 1),
                           Patched(stored, layout.directory + 24, 0xFFFFFFFFu),
                           Patched(stored, 26, 0xFFFF, 2), Patched(stored, 28, 0xFFFF, 2)}) {
    CZipReader reader(Share(zip));
    EXPECT_TRUE(reader.HasFiles());
    EXPECT_EQ(reader.GetFile(0), nullptr);
  }
  // A stored file may end with the last byte of the buffer.
  auto file = FirstFile(Patched(stored, layout.directory + 24, dataSize));
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->size, dataSize);

  const Bytes deflated = Zip("", {{"other.xml", SampleText(200)}});
  const Layout deflatedLayout = LayoutOf(deflated);
  ASSERT_EQ(Le(deflated, 8, 2), 8u);
  const uint32_t streamSize = static_cast<uint32_t>(deflated.size() - deflatedLayout.dataStart);
  EXPECT_EQ(FirstFile(Patched(deflated, deflatedLayout.directory + 20, streamSize + 1)), nullptr);
}

TEST_F(ZipReaderTest, EveryTruncationGivesNoFiles) {
  const Bytes zip = Zip("", {{"a.xml", SampleText(40)}, {"b.txt", BytesOf("short")}});
  ASSERT_NE(FirstFile(zip), nullptr);
  for (size_t length = 0; length < zip.size(); ++length) {
    CZipReader reader(Share(Bytes(zip.begin(), zip.begin() + static_cast<long>(length))));
    EXPECT_FALSE(reader.HasFiles()) << "cut at " << length;
    EXPECT_EQ(reader.GetFile(0), nullptr) << "cut at " << length;
  }
}

TEST_F(ZipReaderTest, FlippedBytesGiveErrorsOrTheFlippedData) {
  const Bytes content = SampleText(10);
  const Bytes zip = Zip("-0", {{"camera.xml", content}});
  const Layout layout = LayoutOf(zip);
  for (size_t at = 0; at < zip.size(); ++at) {
    Bytes flipped = zip;
    flipped[at] ^= 0xFF;
    CZipReader reader(Share(flipped));
    const bool hasFiles = reader.HasFiles();
    auto file = reader.GetFile(0);
    const bool inSignature = at < 4 || (at >= layout.directory && at < layout.directory + 4) ||
                             (at >= layout.endRecord && at < layout.endRecord + 4);
    if (inSignature) {
      EXPECT_FALSE(hasFiles) << "flip at " << at;
    } else if (at == 8 || at == 9) {
      EXPECT_EQ(file, nullptr) << "method flipped";
    } else if (at >= layout.dataStart && at < layout.dataStart + content.size()) {
      Bytes expected = content;
      expected[at - layout.dataStart] ^= 0xFF;
      ASSERT_NE(file, nullptr) << "flip at " << at;
      EXPECT_EQ(Contents(file), expected) << "flip at " << at;
    }
  }

  // Deflated: a damaged stream still gives an array, the reader never a crash.
  const Bytes deflated = Zip("", {{"camera.xml", SampleText(50)}});
  const Layout deflatedLayout = LayoutOf(deflated);
  const size_t streamEnd = deflatedLayout.dataStart + Le(deflated, deflatedLayout.directory + 20);
  for (size_t at = 0; at < deflated.size(); ++at) {
    Bytes flipped = deflated;
    flipped[at] ^= 0xFF;
    auto file = CZipReader(Share(flipped)).GetFile(0);
    if (at >= deflatedLayout.dataStart && at < streamEnd)
      EXPECT_NE(file, nullptr) << "flip at " << at;
  }
}

}  // namespace
