// Entry points shared by the fuzz targets and by the test that replays their
// regression inputs: each drives the library on an arbitrary byte string and
// returns. None may crash, hang, leak or exit; a broken invariant the library
// cannot report itself (memory still held by the library afterwards) aborts,
// so that the fuzzer keeps the input.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace kestrel_fuzz {

using ENTRY = void (*)(const std::uint8_t* data, std::size_t size);

// One DMF line given to the line parser (a writable, NUL-terminated copy).
void dmf_line(const std::uint8_t* data, std::size_t size);
// A whole DMF file, read through an anonymous in-memory file: the plain
// build, then the sectioned build of each device its listing names; every
// model is dumped and destroyed.
void dmf_build(const std::uint8_t* data, std::size_t size);
// A .ddb database given to the model loader (read from an anonymous
// in-memory file); a model that loads is dumped both ways, compared with
// itself, asked for delays of every kind, extended and destroyed. Then the
// roots "p_ref" and "master" are taken together (a clone and its master),
// used and freed in that order.
void ddb_load(const std::uint8_t* data, std::size_t size);
// A .ddb database loaded, the model (or null root) saved, that image loaded
// again: it must load, give the same model and save to the same bytes.
void ddb_load_save(const std::uint8_t* data, std::size_t size);
// DMF text built into a model, saved, loaded and saved again: every image
// must load, and when the build reported nothing the two images are
// byte-identical and the models equal.
void ddb_round_trip(const std::uint8_t* data, std::size_t size);

// The entry that a target name (the directory name under fuzz/regressions)
// stands for; null for an unknown name.
ENTRY find_entry(const std::string& target);
// The names of every target, in a fixed order.
std::vector<std::string> target_names();

}  // namespace kestrel_fuzz
