// Building .ddb file images byte by byte, after docs/ddb-format.md: for tests
// that hand the reader files no writer would make (damaged, hostile, at the
// limits of the format).
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "pdb_sys.h"

// A field layout of the class table: (field name, type code) in order.
using DDB_FIELDS = std::vector<std::pair<std::string, std::uint8_t>>;

// Bytes of a .ddb file, put together field by field (little-endian).
class DDB_BYTES {
 public:
  DDB_BYTES& u8(std::uint8_t v) { return raw(&v, 1); }
  DDB_BYTES& u16(std::uint16_t v) { return raw(&v, 2); }
  DDB_BYTES& u32(std::uint32_t v) { return raw(&v, 4); }
  DDB_BYTES& u64(std::uint64_t v) { return raw(&v, 8); }
  DDB_BYTES& f64(double v) { return raw(&v, 8); }
  DDB_BYTES& str(const std::string& s) {
    u32(static_cast<std::uint32_t>(s.size()));
    m_bytes += s;
    return *this;
  }
  // A class table entry: name, signature, fields (name, code).
  DDB_BYTES& cls(const std::string& name, std::uint32_t signature, const DDB_FIELDS& fields) {
    str(name).u32(signature).u32(static_cast<std::uint32_t>(fields.size()));
    for (const auto& [field, code] : fields) {
      str(field).u8(code);
    }
    return *this;
  }
  const std::string& bytes() const { return m_bytes; }
  std::size_t size() const { return m_bytes.size(); }

 private:
  DDB_BYTES& raw(const void* p, std::size_t n) {
    m_bytes.append(static_cast<const char*>(p), n);
    return *this;
  }
  std::string m_bytes;
};

// A whole file: header, object table, tables; length and both checksums
// right.
inline std::string ddb_file(const std::string& objects, const std::string& tables,
                            std::uint32_t version = PDB_FORMAT_VERSION) {
  const std::string content = objects + tables;
  DDB_BYTES header;
  for (const unsigned char m : PDB_MAGIC) {
    header.u8(m);
  }
  header.u32(version).u32(0);
  header.u64(PDB_HEADER_SIZE + content.size()).u64(PDB_HEADER_SIZE + objects.size());
  header.u32(pdb_crc32(content.data(), content.size()));
  const std::string head = header.bytes();
  header.u32(pdb_crc32(head.data(), head.size()));
  return header.bytes() + content;
}

// Recomputes both checksums of a file image (of at least a header) after a
// deliberate change, so that the parser meets the change.
inline std::string reseal(std::string file) {
  std::uint32_t crc = pdb_crc32(file.data() + PDB_HEADER_SIZE, file.size() - PDB_HEADER_SIZE);
  std::memcpy(file.data() + 32, &crc, 4);
  crc = pdb_crc32(file.data(), 36);
  std::memcpy(file.data() + 36, &crc, 4);
  return file;
}
