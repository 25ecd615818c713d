// gen_dmf N FILE [SEED] [--devices K]: writes a deterministic, realistic DMF
// model of N delay lines to FILE and the same delays as JSON to FILE.json.
//
// The names come from the project's own name tables (h/dbs_*.def). All eleven
// delay types appear in fixed proportions with one to three keys each, under
// paths of one to four map types; about one value in ten is a bracketed
// expression or a conditional, some lines carry several delay groups told
// apart by bins, every block of lines gets a description, and some lines an
// identifier. Every delay (path, type, keys) is unique, so the model and the
// JSON hold the same set. With --devices K the file is amalgamated: a device
// listing, a COMMON section and K device sections; the JSON then holds the
// delays of the first device (COMMON and DEV0), as a build for DEV0 reads them.
//
// JSON layout: {"delays":[{"path":[...],"type":"...","keys":[...],"value":V},...]}.
// Keys are the delay's descriptors in the order of its DMF line, with the
// implied ones written out (an rc line of three descriptors is keyed under
// RC_RISE, an integer line of two under DTM_NONE), so equal keys mean the same
// stored delay. Values are the ones a build with no bin or version target
// stores: the first group, evaluated.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <set>
#include <string>
#include <unordered_set>
#include <vector>

namespace {

struct NAMED {
  const char* m_name;
  int m_value;
};

#define DBS_NAME(NAME, VALUE) {#NAME, VALUE},
#define DBS_ALIAS(IDENT, NAME, VALUE)
const NAMED k_node_enum[] = {
#include "dbs_dtm_node_enum.def"
};
const NAMED k_dtm_enum[] = {
#include "dbs_dtm_enum.def"
};
const NAMED k_re_types[] = {
#include "dbs_cdb_re_type.def"
};
const NAMED k_input_ports[] = {
#include "dbs_db_input_port.def"
};
const NAMED k_output_ports[] = {
#include "dbs_db_output_port.def"
};
const NAMED k_buried_ports[] = {
#include "dbs_db_buried_port.def"
};
#undef DBS_NAME
#undef DBS_ALIAS

// The names of a table accepted by `keep`, each name once (first occurrence:
// a name listed twice resolves to its first value).
template <std::size_t N, typename KEEP>
std::vector<std::string> pick(const NAMED (&table)[N], KEEP keep) {
  std::vector<std::string> names;
  std::set<std::string> seen;
  for (const NAMED& named : table) {
    if (keep(named) && seen.insert(named.m_name).second) {
      names.emplace_back(named.m_name);
    }
  }
  return names;
}

struct NAMES {
  std::vector<std::string> m_top;   // outer levels: device, grades, corners
  std::vector<std::string> m_maps;  // the rest of the map types
  std::vector<std::string> m_kinds;
  std::vector<std::string> m_res;
  std::vector<std::string> m_inputs;
  std::vector<std::string> m_outputs;
  std::vector<std::string> m_buried;
};

NAMES load_names() {
  NAMES names;
  const auto is_map = [](const NAMED& n) {
    return n.m_value > 0 && n.m_value < 138 && (n.m_value < 47 || n.m_value > 66);
  };
  const auto is_top = [](const NAMED& n) { return n.m_value >= 67 && n.m_value <= 84; };
  names.m_top = pick(k_node_enum, is_top);
  names.m_maps = pick(k_node_enum, [&](const NAMED& n) { return is_map(n) && !is_top(n); });
  // INDEX_ALL (730) is illegal as a point-to-point index; DTM_NONE means "no key".
  names.m_kinds =
      pick(k_dtm_enum, [](const NAMED& n) { return n.m_value != 0 && n.m_value != 730; });
  names.m_res = pick(k_re_types, [](const NAMED& n) { return n.m_value < 604; });
  // Names that are both an input (or output) and a buried port are left out:
  // a line would take them as the input (output) port, the JSON as written.
  std::set<std::string> in_or_out;
  for (const NAMED& n : k_input_ports) in_or_out.insert(n.m_name);
  for (const NAMED& n : k_output_ports) in_or_out.insert(n.m_name);
  names.m_inputs = pick(k_input_ports, [](const NAMED&) { return true; });
  names.m_outputs = pick(k_output_ports, [](const NAMED&) { return true; });
  names.m_buried =
      pick(k_buried_ports, [&](const NAMED& n) { return in_or_out.count(n.m_name) == 0; });
  return names;
}

// The eleven delay types, in realistic proportions (per 100 lines).
enum TYPE { P2P, MICRO, TABLE, RE_TABLE, RC, RE, FF, OUT_RE, RE_IN, FLOAT_TABLE, INTEGER };
struct TYPE_INFO {
  const char* m_name;
  int m_share;
  bool m_float;
};
const TYPE_INFO k_types[] = {
    {"DTM_P2P", 30, false},
    {"DTM_MICRO", 12, false},
    {"DTM_TABLE", 12, false},
    {"DTM_RE_TABLE", 10, false},
    {"DTM_RC", 8, true},
    {"DTM_RE", 6, false},
    {"DTM_FF", 6, false},
    {"DTM_OUTPUT_PORT_RE", 4, false},
    {"DTM_RE_INPUT_PORT", 4, false},
    {"DTM_FLOAT_TABLE", 4, true},
    {"DTM_INTEGER", 4, false},
};

class GENERATOR {
 public:
  GENERATOR(unsigned seed, std::FILE* dmf, std::FILE* json)
      : m_random(seed), m_dmf(dmf), m_json(json), m_names(load_names()) {}

  // Block `block` of `lines` delay lines under one path. `in_json`: whether
  // its delays belong to the model the JSON describes.
  void write_block(long block, long lines, bool in_json) {
    const std::vector<std::string> path = block_path(block);
    std::string path_text;
    for (const std::string& map : path) {
      path_text += map + " ";
    }
    std::unordered_set<std::string> used;  // keys within the block
    for (long i = 0; i < lines; ++i) {
      write_line(path, path_text, used, in_json);
      if (i == 0) {
        std::fprintf(m_dmf, "\"%s block %ld\" %s||\n", path.back().c_str(), block,
                     path_text.c_str());
      }
      if (random(40) == 0) {
        std::fprintf(m_dmf, "%% %s\n", path_text.c_str());
      }
    }
  }

 private:
  unsigned random(unsigned bound) { return static_cast<unsigned>(m_random() % bound); }
  const std::string& any(const std::vector<std::string>& names) {
    return names[random(static_cast<unsigned>(names.size()))];
  }

  // A path of one to four map types: up to two outer levels (device,
  // grade, corner), then the block number written in base M with the other
  // map types as digits (one digit below M, two below M^2, else three). The
  // two kinds of level share no name, so no two blocks share a path.
  std::vector<std::string> block_path(long block) {
    const long maps = static_cast<long>(m_names.m_maps.size());
    const unsigned digits = block < maps ? 1 : block < maps * maps ? 2 : 3;
    const unsigned outer = std::min(2u, random(5 - digits));
    std::vector<std::string> path;
    if (outer >= 1) {
      path.push_back(m_names.m_top[0]);  // DTM_MAP_DEVICE
    }
    if (outer == 2) {
      path.push_back(m_names.m_top[1 + random(static_cast<unsigned>(m_names.m_top.size() - 1))]);
    }
    for (unsigned d = digits; d-- > 0;) {
      long digit = block;
      for (unsigned i = 0; i < d; ++i) {
        digit /= maps;
      }
      path.push_back(m_names.m_maps[static_cast<std::size_t>(digit % maps)]);
    }
    return path;
  }

  TYPE pick_type() {
    unsigned roll = random(100);
    for (int t = 0; t <= INTEGER; ++t) {
      if (roll < static_cast<unsigned>(k_types[t].m_share)) {
        return static_cast<TYPE>(t);
      }
      roll -= static_cast<unsigned>(k_types[t].m_share);
    }
    return INTEGER;
  }

  // The modifiers as written, and the keys as the JSON names them.
  void pick_keys(TYPE type, std::vector<std::string>& written, std::vector<std::string>& keys) {
    written.clear();
    keys.clear();
    const auto both = [&](const std::string& name) {
      written.push_back(name);
      keys.push_back(name);
    };
    switch (type) {
      case P2P:
        both(any(m_names.m_inputs));
        both(random(5) == 0 ? any(m_names.m_buried) : any(m_names.m_outputs));
        if (random(4) == 0) both(any(m_names.m_kinds));
        break;
      case MICRO:
        both(any(m_names.m_kinds));
        break;
      case TABLE:
      case FLOAT_TABLE:
        both(any(m_names.m_kinds));
        both(any(m_names.m_kinds));
        break;
      case RE_TABLE:
        both(any(m_names.m_res));
        both(any(m_names.m_res));
        if (random(3) == 0) both(any(m_names.m_kinds));
        break;
      case RC:
        both(any(m_names.m_res));
        both(any(m_names.m_kinds));
        if (random(3) == 0) {
          both(random(2) == 0 ? "RC_FALL" : any(m_names.m_kinds));
        } else {
          keys.push_back("RC_RISE");
        }
        break;
      case RE:
        both(any(m_names.m_res));
        break;
      case FF:
        both(any(m_names.m_buried));
        both(any(m_names.m_kinds));
        break;
      case OUT_RE:
        both(any(m_names.m_outputs));
        both(any(m_names.m_res));
        break;
      case RE_IN:
        both(any(m_names.m_res));
        both(any(m_names.m_inputs));
        break;
      case INTEGER:
        if (random(2) == 0) {
          keys.push_back("DTM_NONE");
        } else {
          both(any(m_names.m_kinds));
        }
        both(std::to_string(random(1024)));  // indices above 1023 are never looked up
        break;
    }
  }

  // One delay field: a number, a bracketed expression or a conditional.
  // Returns its text and sets `value` to what it evaluates to.
  std::string field(bool is_float, double& value) {
    const auto number = [&](double& v) {
      if (is_float) {
        const unsigned milli = 50 + random(20000);
        char text[32];
        std::snprintf(text, sizeof text, "%u.%03u", milli / 1000, milli % 1000);
        v = std::strtod(text, nullptr);
        return std::string(text);
      }
      const unsigned n = 10 + random(5000);
      v = n;
      return std::to_string(n);
    };
    const unsigned shape = random(20);
    double a = 0, b = 0, c = 0, d = 0;
    if (shape == 0) {
      const std::string ta = number(a), tb = number(b);
      value = a + b;
      return "( " + ta + " + " + tb + " )";
    }
    if (shape == 1) {
      const std::string ta = number(a), tb = number(b), tc = number(c), td = number(d);
      value = a < b ? c : d;
      return "( if ( " + ta + " < " + tb + " ) then " + tc + " else " + td + " )";
    }
    return number(value);
  }

  void write_line(const std::vector<std::string>& path, const std::string& path_text,
                  std::unordered_set<std::string>& used, bool in_json) {
    TYPE type = pick_type();
    std::string key_text;
    for (int attempt = 0;; ++attempt) {
      pick_keys(type, m_written, m_keys);
      key_text = k_types[type].m_name;
      for (const std::string& key : m_keys) {
        key_text += "|" + key;
      }
      if (used.insert(key_text).second) {
        break;
      }
      if (attempt > 8) {
        type = P2P;  // the widest key space
      }
    }
    std::string tail = path_text + "|| " + k_types[type].m_name;
    for (const std::string& word : m_written) {
      tail += " " + word;
    }
    std::string line;
    double value = 0;
    // Lines stay well inside the reader's 298 characters: a field too long
    // with its groups is written again as one group.
    for (unsigned groups = random(10) == 0 ? 2 + random(2) : 1;; groups = 1) {
      line = random(20) == 0 ? "L" + std::to_string(m_next_id++) + " :: " : std::string();
      for (unsigned g = 0; g < groups; ++g) {
        double group_value = 0;
        if (groups > 1) {
          line += "bin C" + std::to_string(6 + g) + " || ";
        }
        line += field(k_types[type].m_float, group_value);
        line += g + 1 < groups ? " ;; " : " || ";
        if (g == 0) {
          value = group_value;
        }
      }
      line += tail;
      if (line.size() <= 280 || groups == 1) {
        break;
      }
    }
    std::fprintf(m_dmf, "%s\n", line.c_str());
    if (in_json) {
      write_json(path, type, value);
    }
  }

  void write_json(const std::vector<std::string>& path, TYPE type, double value) {
    std::fprintf(m_json, "%s\n{\"path\":[", m_json_count++ == 0 ? "" : ",");
    for (std::size_t i = 0; i < path.size(); ++i) {
      std::fprintf(m_json, "%s\"%s\"", i == 0 ? "" : ",", path[i].c_str());
    }
    std::fprintf(m_json, "],\"type\":\"%s\",\"keys\":[", k_types[type].m_name);
    for (std::size_t i = 0; i < m_keys.size(); ++i) {
      std::fprintf(m_json, "%s\"%s\"", i == 0 ? "" : ",", m_keys[i].c_str());
    }
    std::fprintf(m_json, "],\"value\":%.17g}", value);
  }

  std::mt19937 m_random;
  std::FILE* m_dmf;
  std::FILE* m_json;
  NAMES m_names;
  std::vector<std::string> m_written;
  std::vector<std::string> m_keys;
  long m_next_id = 0;
  long m_json_count = 0;
};

constexpr long k_block_lines = 100;
const char k_stars[] = "****************************************";

}  // namespace

int main(int argc, char** argv) {
  std::vector<const char*> args;
  long devices = 0;
  for (int i = 1; i < argc; ++i) {
    if (std::strcmp(argv[i], "--devices") == 0 && i + 1 < argc) {
      devices = std::strtol(argv[++i], nullptr, 10);
    } else {
      args.push_back(argv[i]);
    }
  }
  if (args.size() < 2 || devices < 0) {
    std::fprintf(stderr, "usage: gen_dmf N FILE [SEED] [--devices K]\n");
    return 2;
  }
  const long count = std::strtol(args[0], nullptr, 10);
  const std::string file = args[1];
  const unsigned seed =
      args.size() > 2 ? static_cast<unsigned>(std::strtoul(args[2], nullptr, 10)) : 1u;
  std::FILE* dmf = std::fopen(file.c_str(), "w");
  std::FILE* json = std::fopen((file + ".json").c_str(), "w");
  if (count < 0 || dmf == nullptr || json == nullptr) {
    std::fprintf(stderr, "gen_dmf: cannot write %s\n", file.c_str());
    return 1;
  }
  GENERATOR generator(seed, dmf, json);
  std::fprintf(json, "{\"delays\":[");
  if (devices == 0) {
    std::fprintf(dmf, "%% generated by gen_dmf: %ld delay lines, seed %u\n", count, seed);
    for (long block = 0; block * k_block_lines < count; ++block) {
      generator.write_block(block, std::min(k_block_lines, count - block * k_block_lines), true);
    }
  } else {
    // A tenth of the lines are common; the rest is shared out among the devices.
    std::fprintf(dmf, "%sDEVICE_LISTING", k_stars);
    for (long d = 0; d < devices; ++d) {
      std::fprintf(dmf, " DEV%ld", d);
    }
    std::fprintf(dmf, "\n%% generated by gen_dmf: %ld delay lines, seed %u\n", count, seed);
    const long common = count / 10;
    const long per_device = (count - common) / devices;
    long block = 0;
    const auto section = [&](const std::string& name, long lines, bool in_json) {
      std::fprintf(dmf, "%sSTART_%s\n", k_stars, name.c_str());
      for (long done = 0; done < lines; done += k_block_lines) {
        generator.write_block(block++, std::min(k_block_lines, lines - done), in_json);
      }
      std::fprintf(dmf, "%sEND_%s\n", k_stars, name.c_str());
    };
    section("COMMON", common, true);
    for (long d = 0; d < devices; ++d) {
      const long lines =
          d + 1 == devices ? count - common - per_device * (devices - 1) : per_device;
      section("DEV" + std::to_string(d), lines, d == 0);
    }
  }
  std::fprintf(json, "\n]}\n");
  const bool ok = std::fclose(json) == 0;
  return std::fclose(dmf) == 0 && ok ? 0 : 1;
}
