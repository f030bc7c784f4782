#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/support/TempDir.h"
#include "vesk_genicam/impl/ZipReader.h"

namespace {

using Bytes = std::vector<uint8_t>;

Bytes BytesOf(const std::string& text) { return Bytes(text.begin(), text.end()); }

uint16_t Le16(const Bytes& b, size_t at) { return static_cast<uint16_t>(b[at] | (b[at + 1] << 8)); }
uint32_t Le32(const Bytes& b, size_t at) {
  return static_cast<uint32_t>(b[at]) | (static_cast<uint32_t>(b[at + 1]) << 8) |
         (static_cast<uint32_t>(b[at + 2]) << 16) | (static_cast<uint32_t>(b[at + 3]) << 24);
}
void PutLe16(Bytes& b, size_t at, uint16_t v) {
  b[at] = static_cast<uint8_t>(v);
  b[at + 1] = static_cast<uint8_t>(v >> 8);
}
void PutLe32(Bytes& b, size_t at, uint32_t v) {
  for (int i = 0; i < 4; ++i) b[at + i] = static_cast<uint8_t>(v >> (8 * i));
}
void AppendLe16(Bytes& b, uint16_t v) {
  b.resize(b.size() + 2);
  PutLe16(b, b.size() - 2, v);
}
void AppendLe32(Bytes& b, uint32_t v) {
  b.resize(b.size() + 4);
  PutLe32(b, b.size() - 4, v);
}

// Where the parts of a one-entry archive stand, found the way unzip would find them.
struct Layout {
  size_t endRecord;
  size_t directory;
  size_t dataStart;
};

Layout LayoutOf(const Bytes& zip) {
  Layout layout{};
  const std::string text(zip.begin(), zip.end());
  layout.endRecord = text.rfind(std::string("PK\x05\x06", 4));
  layout.directory = Le32(zip, layout.endRecord + 16);
  layout.dataStart = 30 + Le16(zip, 26) + Le16(zip, 28);
  return layout;
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

// Text without zip signatures, compressible but not trivially.
std::string SampleText(size_t lines) {
  std::string text;
  for (size_t i = 0; i < lines; ++i) {
    text += "<Integer Name=\"Width" + std::to_string(i * 7919 % 1000) + "\"><Value>" +
            std::to_string(i * i) + "</Value></Integer>\n";
  }
  return text;
}

// Archives made by the zip tool in a directory of their own.
class ZipReaderTest : public ::testing::Test {
 protected:
  void Write(const std::string& name, const Bytes& content) const {
    vesk::test::WriteText(m_dir.File(name), std::string(content.begin(), content.end()));
  }

  Bytes Read(const std::string& name) const {
    return BytesOf(vesk::test::ReadText(m_dir.File(name)));
  }

  // Runs the zip tool in the directory; `arguments` follow "zip -q -X".
  void Run(const std::string& arguments) const {
    const std::string command = "cd '" + m_dir.Path() + "' && zip -q -X " + arguments;
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
  }

  // A one-entry archive; zip would add to an older one.
  Bytes Zip(const std::string& options, const std::string& name, const Bytes& content) {
    std::filesystem::remove(m_dir.File("out.zip"));
    Write(name, content);
    Run(options + " out.zip " + name);
    return Read("out.zip");
  }

  vesk::test::TempDir m_dir;
};

TEST_F(ZipReaderTest, StoredAndDeflatedEntriesComeBackByteForByte) {
  Bytes binary;
  for (int i = 0; i < 1000; ++i) binary.push_back(static_cast<uint8_t>(i * 31));
  const Bytes stored = Zip("-0", "binary.bin", binary);
  ASSERT_EQ(Le16(stored, 8), 0) << "zip -0 did not store";
  auto file = FirstFile(stored);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(Contents(file), binary);

  const Bytes text = BytesOf(SampleText(5000));
  const Bytes deflated = Zip("-9", "camera.xml", text);
  ASSERT_EQ(Le16(deflated, 8), 8) << "zip did not deflate";
  ASSERT_LT(deflated.size(), text.size() / 4);
  file = FirstFile(deflated);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(Contents(file), text);
  // The XML parsers take the result as a C string.
  EXPECT_EQ(file->data[file->size], '\0');
}

TEST_F(ZipReaderTest, EmptyStoredFileGivesEmptyArray) {
  const Bytes zip = Zip("", "empty.xml", {});
  ASSERT_EQ(Le16(zip, 8), 0);
  CZipReader reader(Share(zip));
  EXPECT_TRUE(reader.HasFiles());
  auto file = reader.GetFile(0);
  ASSERT_NE(file, nullptr);
  EXPECT_TRUE(file->size == 0);
}

TEST_F(ZipReaderTest, OnlyFirstEntryOfUsualArchiveIsFound) {
  const Bytes first = BytesOf(SampleText(300));
  const Bytes second = BytesOf("second entry");
  Write("first.xml", first);
  Write("second.txt", second);
  Run("out.zip first.xml second.txt");
  const Bytes zip = Read("out.zip");
  ASSERT_EQ(Le16(zip, LayoutOf(zip).endRecord + 10), 2);

  CZipReader reader(Share(zip));
  EXPECT_TRUE(reader.HasFiles());
  auto file = reader.GetFile(0);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(Contents(file), first);
  // The walk lands in the first entry's name, not on the second entry.
  EXPECT_EQ(reader.GetFile(1), nullptr);
  EXPECT_EQ(reader.GetFile(0xFFFFFFFFu), nullptr);
}

// An archive whose directory entries carry no name: the fixed 46-byte steps then meet every
// entry, up to the first thing that is not one.
TEST_F(ZipReaderTest, DirectoryWithoutVariableFieldsIsWalkedByIndex) {
  const std::vector<Bytes> contents = {BytesOf("first"), BytesOf("the second one")};
  Bytes zip;
  std::vector<uint32_t> offsets;
  for (const Bytes& content : contents) {
    offsets.push_back(static_cast<uint32_t>(zip.size()));
    AppendLe32(zip, 0x04034B50);
    AppendLe16(zip, 10);  // version needed
    AppendLe16(zip, 0);   // flags
    AppendLe16(zip, 0);   // stored
    AppendLe32(zip, 0);   // time and date
    AppendLe32(zip, static_cast<uint32_t>(crc32(0, content.data(), content.size())));
    AppendLe32(zip, static_cast<uint32_t>(content.size()));
    AppendLe32(zip, static_cast<uint32_t>(content.size()));
    AppendLe16(zip, 1);  // name length
    AppendLe16(zip, 0);  // extra length
    zip.push_back('n');
    zip.insert(zip.end(), content.begin(), content.end());
  }
  const uint32_t directory = static_cast<uint32_t>(zip.size());
  for (size_t i = 0; i < contents.size(); ++i) {
    const size_t entry = zip.size();
    zip.resize(entry + 46);
    PutLe32(zip, entry, 0x02014B50);
    PutLe32(zip, entry + 20, static_cast<uint32_t>(contents[i].size()));
    PutLe32(zip, entry + 24, static_cast<uint32_t>(contents[i].size()));
    PutLe32(zip, entry + 42, offsets[i]);
  }
  const size_t end = zip.size();
  zip.resize(end + 22);
  PutLe32(zip, end, 0x06054B50);
  PutLe16(zip, end + 10, 3);  // one entry more than there is
  PutLe32(zip, end + 12, static_cast<uint32_t>(end - directory));
  PutLe32(zip, end + 16, directory);

  CZipReader reader(Share(zip));
  ASSERT_TRUE(reader.HasFiles());
  for (uint32_t i = 0; i < contents.size(); ++i) {
    auto file = reader.GetFile(i);
    ASSERT_NE(file, nullptr) << i;
    EXPECT_EQ(Contents(file), contents[i]);
  }
  EXPECT_EQ(reader.GetFile(2), nullptr) << "the end record was taken for an entry";
}

TEST_F(ZipReaderTest, EndRecordIsFoundBehindLongestCommentAndNoFurther) {
  const Bytes content = BytesOf(SampleText(20));
  Zip("", "camera.xml", content);
  // zip turns each newline into CR LF and drops the last one: 809 * 81 + 6 = 65535.
  std::string comment;
  for (int i = 0; i < 809; ++i) comment += std::string(79, 'c') + "\n";
  comment += "cccccc";
  Write("comment.txt", BytesOf(comment));
  Run("-z out.zip < comment.txt");
  Bytes zip = Read("out.zip");
  const size_t endRecord = LayoutOf(zip).endRecord;
  ASSERT_EQ(Le16(zip, endRecord + 20), 65535);
  ASSERT_EQ(zip.size(), endRecord + 22 + 65535);

  auto file = FirstFile(zip);
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(Contents(file), content);

  // One byte more behind the record puts it one step beyond the search.
  zip.push_back('c');
  EXPECT_FALSE(CZipReader(Share(zip)).HasFiles());
}

TEST_F(ZipReaderTest, BufferMustStartWithLocalHeader) {
  const Bytes zip = Zip("", "camera.xml", BytesOf(SampleText(20)));
  ASSERT_NE(FirstFile(zip), nullptr);

  Bytes prefixed = zip;
  prefixed.insert(prefixed.begin(), 'X');
  EXPECT_FALSE(CZipReader(Share(prefixed)).HasFiles());
  EXPECT_EQ(CZipReader(Share(prefixed)).GetFile(0), nullptr);

  Bytes renamed = zip;
  renamed[3] = 0x05;
  EXPECT_FALSE(CZipReader(Share(renamed)).HasFiles());
}

TEST_F(ZipReaderTest, ShortOrMissingBuffersHaveNoFiles) {
  EXPECT_FALSE(CZipReader(nullptr).HasFiles());
  EXPECT_EQ(CZipReader(nullptr).GetFile(0), nullptr);
  EXPECT_FALSE(CZipReader(Share({})).HasFiles());
  EXPECT_FALSE(CZipReader(Share({0x50, 0x4B, 0x03})).HasFiles());
  Bytes signatureOnly = {0x50, 0x4B, 0x03, 0x04};
  EXPECT_FALSE(CZipReader(Share(signatureOnly)).HasFiles());
  signatureOnly.resize(21);
  EXPECT_FALSE(CZipReader(Share(signatureOnly)).HasFiles());
}

TEST_F(ZipReaderTest, DirectorySizesNeedNotBeRightForDeflate) {
  const Bytes text = BytesOf(SampleText(2000));
  const Bytes zip = Zip("", "camera.xml", text);
  ASSERT_EQ(Le16(zip, 8), 8);
  const size_t sizeField = LayoutOf(zip).directory + 24;
  const uint32_t claimed[] = {0, 1, static_cast<uint32_t>(text.size() - 1),
                              static_cast<uint32_t>(text.size() * 3), 0xFFFFFFFFu};
  for (uint32_t size : claimed) {
    Bytes patched = zip;
    PutLe32(patched, sizeField, size);
    auto file = FirstFile(patched);
    ASSERT_NE(file, nullptr) << size;
    EXPECT_EQ(Contents(file), text) << "uncompressed size claimed " << size;
  }
}

TEST_F(ZipReaderTest, BrokenDeflateStreamGivesWhatWasInflated) {
  const Bytes text = BytesOf(SampleText(2000));
  Bytes zip = Zip("", "camera.xml", text);
  const Layout layout = LayoutOf(zip);
  const uint32_t compressed = Le32(zip, layout.directory + 20);
  PutLe32(zip, layout.directory + 20, compressed / 2);

  auto file = FirstFile(zip);
  ASSERT_NE(file, nullptr);
  ASSERT_EQ(file->size, text.size()) << "the output was not returned at its full size";
  EXPECT_NE(Contents(file), text);
  EXPECT_TRUE(std::equal(text.begin(), text.begin() + 64, Contents(file).begin()));
}

TEST_F(ZipReaderTest, MethodsOtherThanStoredAndDeflateGiveNull) {
  const Bytes zip = Zip("", "camera.xml", BytesOf(SampleText(20)));
  const Layout layout = LayoutOf(zip);
  for (uint16_t method : {9, 12, 14, 1}) {
    Bytes patched = zip;
    PutLe16(patched, 8, method);
    PutLe16(patched, layout.directory + 10, method);
    CZipReader reader(Share(patched));
    EXPECT_TRUE(reader.HasFiles());
    EXPECT_EQ(reader.GetFile(0), nullptr) << "method " << method;
  }
}

TEST_F(ZipReaderTest, DirectoryIsReadOnceAndOnDemand) {
  const Bytes content = BytesOf(SampleText(20));
  const Bytes zip = Zip("-0", "camera.xml", content);

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
  const Bytes content = BytesOf(SampleText(20));
  const Bytes stored = Zip("-0", "camera.xml", content);
  const Layout layout = LayoutOf(stored);
  const uint32_t size = static_cast<uint32_t>(stored.size());
  auto patched = [&](size_t at, uint32_t value, int width) {
    Bytes copy = stored;
    if (width == 2) {
      PutLe16(copy, at, static_cast<uint16_t>(value));
    } else {
      PutLe32(copy, at, value);
    }
    return copy;
  };

  // Directories that cannot be read.
  EXPECT_FALSE(CZipReader(Share(patched(layout.endRecord + 10, 0, 2))).HasFiles());
  for (uint32_t offset : {size, size - 45, 0xFFFFFFFFu, 0x80000000u}) {
    EXPECT_FALSE(CZipReader(Share(patched(layout.endRecord + 16, offset, 4))).HasFiles())
        << "directory at " << offset;
  }

  // Entries that point outside the buffer.
  const Bytes broken[] = {
      patched(layout.directory + 42, size - 29, 4),
      patched(layout.directory + 42, 0xFFFFFFFFu, 4),
      patched(layout.directory + 24, size - static_cast<uint32_t>(layout.dataStart) + 1, 4),
      patched(layout.directory + 24, 0xFFFFFFFFu, 4),
      patched(26, 0xFFFF, 2),
      patched(28, 0xFFFF, 2),
  };
  for (const Bytes& zip : broken) {
    CZipReader reader(Share(zip));
    EXPECT_TRUE(reader.HasFiles());
    EXPECT_EQ(reader.GetFile(0), nullptr);
  }
  // A stored file may end with the last byte of the buffer.
  auto file =
      FirstFile(patched(layout.directory + 24, size - static_cast<uint32_t>(layout.dataStart), 4));
  ASSERT_NE(file, nullptr);
  EXPECT_EQ(file->size, size - layout.dataStart);

  Bytes deflated = Zip("", "other.xml", BytesOf(SampleText(200)));
  const Layout deflatedLayout = LayoutOf(deflated);
  ASSERT_EQ(Le16(deflated, 8), 8);
  PutLe32(deflated, deflatedLayout.directory + 20,
          static_cast<uint32_t>(deflated.size() - deflatedLayout.dataStart + 1));
  EXPECT_EQ(FirstFile(deflated), nullptr);
}

TEST_F(ZipReaderTest, EveryTruncationGivesNoFiles) {
  Write("a.xml", BytesOf(SampleText(40)));
  Write("b.txt", BytesOf("short"));
  Run("out.zip a.xml b.txt");
  const Bytes zip = Read("out.zip");
  ASSERT_NE(FirstFile(zip), nullptr);
  for (size_t length = 0; length < zip.size(); ++length) {
    CZipReader reader(Share(Bytes(zip.begin(), zip.begin() + static_cast<long>(length))));
    EXPECT_FALSE(reader.HasFiles()) << "cut at " << length;
    EXPECT_EQ(reader.GetFile(0), nullptr) << "cut at " << length;
  }
}

TEST_F(ZipReaderTest, FlippedBytesGiveErrorsOrTheFlippedData) {
  const Bytes content = BytesOf(SampleText(10));
  const Bytes zip = Zip("-0", "camera.xml", content);
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
  const Bytes text = BytesOf(SampleText(50));
  const Bytes deflated = Zip("", "camera.xml", text);
  const Layout deflatedLayout = LayoutOf(deflated);
  const size_t streamEnd = deflatedLayout.dataStart + Le32(deflated, deflatedLayout.directory + 20);
  for (size_t at = 0; at < deflated.size(); ++at) {
    Bytes flipped = deflated;
    flipped[at] ^= 0xFF;
    CZipReader reader(Share(flipped));
    auto file = reader.GetFile(0);
    if (at >= deflatedLayout.dataStart && at < streamEnd) {
      EXPECT_NE(file, nullptr) << "flip at " << at;
    }
  }
}

}  // namespace
