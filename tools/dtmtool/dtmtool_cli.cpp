// The command line: the subcommand table, the option tables, argument
// parsing and the help texts, all generated from the two tables.
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <span>
#include <string>
#include <string_view>

#include "dtmtool.h"

#ifndef DTMTOOL_VERSION
#define DTMTOOL_VERSION "unknown"
#endif

namespace {

// --- Options ----------------------------------------------------------------------
struct OPTION {
  const char* m_long;   // "--device"
  char m_short;         // 'o', or 0
  const char* m_value;  // the value's placeholder; null for a flag
  const char* m_help;
  // Stores the option (with its value, or null for a flag); false when the
  // value is not acceptable.
  bool (*m_set)(DTMTOOL_ARGS& args, const char* value);
};

bool parse_tolerance(DTMTOOL_ARGS& args, const char* value) {
  float tolerance = 0.0F;
  const char* end = value + std::strlen(value);
  const std::from_chars_result result = std::from_chars(value, end, tolerance);
  if (result.ec != std::errc() || result.ptr != end || !std::isfinite(tolerance) ||
      tolerance < 0.0F) {
    return false;
  }
  args.m_tolerance = tolerance;
  return true;
}

const OPTION k_output = {"--output", 'o', "FILE", "the file to write",
                         [](DTMTOOL_ARGS& a, const char* v) {
                           a.m_output = v;
                           return true;
                         }};
const OPTION k_device = {"--device", 0, "NAME", "read the section of NAME from amalgamated files",
                         [](DTMTOOL_ARGS& a, const char* v) {
                           a.m_device = v;
                           return *v != '\0';  // every section name begins with ""
                         }};
const OPTION k_bin = {"--bin", 0, "B", "build for bin B: the first delay group for it",
                      [](DTMTOOL_ARGS& a, const char* v) {
                        a.m_bin = v;
                        return true;
                      }};
const OPTION k_version = {"--version", 0, "V", "build for version V: the first delay group for it",
                          [](DTMTOOL_ARGS& a, const char* v) {
                            a.m_version = v;
                            return true;
                          }};
const OPTION k_update = {"--update", 0, nullptr,
                         "a later line for the same delay replaces the earlier one",
                         [](DTMTOOL_ARGS& a, const char*) {
                           a.m_update = true;
                           return true;
                         }};
const OPTION k_trace_lines = {"--trace-lines", 0, nullptr,
                              "write the lines read to FILE.dmf.trf_line",
                              [](DTMTOOL_ARGS& a, const char*) {
                                a.m_trace_lines = true;
                                return true;
                              }};
const OPTION k_trace_tree = {"--trace-tree", 0, nullptr,
                             "write the model's outline to FILE.dmf.trf",
                             [](DTMTOOL_ARGS& a, const char*) {
                               a.m_trace_tree = true;
                               return true;
                             }};
const OPTION k_outline = {"--outline", 0, nullptr, "one line per node, indented (the default)",
                          [](DTMTOOL_ARGS& a, const char*) {
                            a.m_outline = true;
                            return true;
                          }};
const OPTION k_paths = {"--paths", 0, nullptr, "one line per delay, with the path of its node",
                        [](DTMTOOL_ARGS& a, const char*) {
                          a.m_paths = true;
                          return true;
                        }};
const OPTION k_tolerance = {"--tolerance", 0, "X", "values further apart than X differ (default 0)",
                            &parse_tolerance};
const OPTION k_values = {"--values", 0, nullptr, "compare only the values both models hold",
                         [](DTMTOOL_ARGS& a, const char*) {
                           a.m_values = true;
                           return true;
                         }};
const OPTION k_missing = {"--missing", 0, nullptr,
                          "list only what one model holds and the other lacks",
                          [](DTMTOOL_ARGS& a, const char*) {
                            a.m_missing = true;
                            return true;
                          }};

constexpr const char* k_model_help =
    "A model is a .ddb database, or DMF text (any name not ending in .ddb),\n"
    "which is built in memory first; the options --device, --bin, --version\n"
    "and --update say how. A model whose building gave reports is not used.\n";

// --- Subcommands --------------------------------------------------------------
struct COMMAND {
  const char* m_name;
  const char* m_synopsis;  // after "dtmtool NAME "
  const char* m_summary;   // one line for the overview
  const char* m_description;
  std::span<const OPTION* const> m_options;
  int m_min_operands;
  int m_max_operands;   // -1: no limit
  bool m_reads_models;  // its operands are MODELs (the help says what that is)
  int (*m_run)(const DTMTOOL_ARGS& args);
};

constexpr int k_any = -1;

const OPTION* const k_build_options[] = {&k_output, &k_device,      &k_bin,       &k_version,
                                         &k_update, &k_trace_lines, &k_trace_tree};
const OPTION* const k_check_options[] = {&k_device, &k_bin, &k_version, &k_update};
constexpr std::span<const OPTION* const> k_no_options;
const OPTION* const k_dump_options[] = {&k_outline, &k_paths,   &k_device,
                                        &k_bin,     &k_version, &k_update};
const OPTION* const k_query_options[] = {&k_device, &k_bin, &k_version, &k_update};
const OPTION* const k_diff_options[] = {&k_tolerance, &k_values,  &k_missing, &k_device,
                                        &k_bin,       &k_version, &k_update};
const OPTION* const k_export_options[] = {&k_output, &k_device, &k_bin, &k_version, &k_update};

int help_command(const DTMTOOL_ARGS& args);

const COMMAND k_commands[] = {
    {"build", "FILE.dmf... -o MODEL.ddb [OPTIONS]",
     "build a model from DMF files and save it as a .ddb database",
     "Builds one model from the DMF files, each file adding to the model of the\n"
     "files before it, and saves it as MODEL.ddb. Every report is printed as\n"
     "FILE: message and counted; when there is any, MODEL.ddb is not written\n"
     "(an existing one is left as it was) and the exit status is 1. While a\n"
     "large file is built, a progress line is shown on standard error when it\n"
     "is a terminal.\n",
     k_build_options, 1, k_any, false, &dtmtool_build_command},
    {"check", "FILE.dmf... [OPTIONS]", "check DMF files without writing anything",
     "Reads, checks and builds the DMF files as build does, without writing\n"
     "anything. Prints every report as FILE: message on standard error and a\n"
     "final count line on standard output; the exit status is 1 when there is\n"
     "any report.\n",
     k_check_options, 1, k_any, false, &dtmtool_check_command},
    {"devices", "FILE.dmf", "list the devices of an amalgamated DMF file",
     "Prints the device listing of an amalgamated DMF file, one device per line.\n", k_no_options,
     1, 1, false, &dtmtool_devices_command},
    {"dump", "MODEL [--outline|--paths] [OPTIONS]",
     "print a model as an outline or as a path listing",
     "Prints the model: as an outline, one line per node indented by its depth,\n"
     "followed by its description and its delays (--outline, the default); or\n"
     "as a path listing, one line per delay carrying the names of every node\n"
     "from the root (--paths).\n",
     k_dump_options, 1, 1, true, &dtmtool_dump_command},
    {"query", "MODEL NAME... [OPTIONS]", "print one delay of a model, asked by names",
     "Prints the delay that the names ask for: the node type, its descriptors\n"
     "as on a DMF line, then the map types of the path from the root, outermost\n"
     "first, e.g.\n"
     "  dtmtool query model.ddb DTM_MICRO TCO_DELAY DTM_MAP_DEVICE\n"
     "  dtmtool query model.ddb DTM_P2P LCELL_DATAA LCELL_COMBOUT DTM_MAP_DEVICE\n"
     "The node types asked for are DTM_MICRO, DTM_RE, DTM_TABLE, DTM_RE_TABLE,\n"
     "DTM_FF, DTM_OUTPUT_PORT_RE, DTM_RE_INPUT_PORT and DTM_P2P (integers), and\n"
     "DTM_RC and DTM_FLOAT_TABLE (floating-point numbers). When the model holds\n"
     "no such delay, says so on standard error and exits with 1.\n",
     k_query_options, 2, k_any, true, &dtmtool_query_command},
    {"diff", "A B [--tolerance X] [--values|--missing] [OPTIONS]",
     "compare two models in both directions",
     "Compares the models A and B and prints each difference on a line of its\n"
     "own:\n"
     "  <  what A holds and B lacks\n"
     "  >  what B holds and A lacks\n"
     "  !  a value of A that differs in B (A's value, then B's after ::)\n"
     "The exit status is 0 when the models are equal, 1 when they differ and 2\n"
     "when an input cannot be used.\n",
     k_diff_options, 2, 2, true, &dtmtool_diff_command},
    {"export", "MODEL -o FILE.dmf [OPTIONS]", "write a model as DMF text that rebuilds it",
     "Writes the model as DMF text: a description line per described node and a\n"
     "delay line per stored delay. Building that text gives a model equal to\n"
     "MODEL. '-o -' writes to standard output. What no DMF line can express is\n"
     "reported and left out, and the exit status is then 1.\n",
     k_export_options, 1, 1, true, &dtmtool_export_command},
    {"help", "[COMMAND]", "show the help of a command",
     "Shows the overview, or the help of COMMAND (the same as dtmtool COMMAND --help).\n",
     k_no_options, 0, 1, false, &help_command},
};

const COMMAND* find_command(std::string_view name) {
  for (const COMMAND& command : k_commands) {
    if (name == command.m_name) {
      return &command;
    }
  }
  return nullptr;
}

// --- Help -----------------------------------------------------------------------
void print_overview(std::ostream& os) {
  os << "Usage: dtmtool COMMAND [ARGUMENTS]\n"
        "       dtmtool --help | --version\n"
        "\n"
        "Builds, checks, inspects, queries and compares timing models.\n"
        "\n"
        "Commands:\n";
  for (const COMMAND& command : k_commands) {
    std::string name = command.m_name;
    name.resize(10, ' ');
    os << "  " << name << command.m_summary << '\n';
  }
  os << "\n"
        "Run 'dtmtool COMMAND --help' for the arguments of a command.\n"
        "Results go to standard output, reports and errors to standard error.\n"
        "Exit status: 0 success, 1 errors in the input (diff: the models differ),\n"
        "2 wrong usage or an input that cannot be read.\n";
}

void print_help(const COMMAND& command, std::ostream& os) {
  os << "Usage: dtmtool " << command.m_name << ' ' << command.m_synopsis << "\n\n"
     << command.m_description;
  if (command.m_reads_models) {
    os << '\n' << k_model_help;
  }
  os << "\nOptions:\n";
  auto print_row = [&os](const std::string& left, const char* help) {
    std::string padded = "  " + left;
    if (padded.size() < 24) {
      padded.resize(24, ' ');
    } else {
      padded += "  ";
    }
    os << padded << help << '\n';
  };
  for (const OPTION* option : command.m_options) {
    std::string left;
    if (option->m_short != 0) {
      left = std::string("-") + option->m_short + ", ";
    }
    left += option->m_long;
    if (option->m_value != nullptr) {
      left += std::string(" ") + option->m_value;
    }
    print_row(left, option->m_help);
  }
  print_row("-h, --help", "show this help and exit");
}

int help_command(const DTMTOOL_ARGS& args) {
  if (args.m_operands.empty()) {
    print_overview(std::cout);
    return DTMTOOL_OK;
  }
  const COMMAND* command = find_command(args.m_operands[0]);
  if (command == nullptr) {
    dtmtool_error("unknown command '" + args.m_operands[0] + "'");
    return DTMTOOL_USAGE;
  }
  print_help(*command, std::cout);
  return DTMTOOL_OK;
}

// --- Parsing --------------------------------------------------------------------
int usage_error(const COMMAND& command, const std::string& text) {
  dtmtool_error(text);
  std::cerr << "Try 'dtmtool " << command.m_name << " --help'.\n";
  return DTMTOOL_USAGE;
}

const OPTION* find_option(const COMMAND& command, std::string_view name) {
  for (const OPTION* option : command.m_options) {
    if (name == option->m_long || (option->m_short != 0 && name.size() == 2 && name[0] == '-' &&
                                   name[1] == option->m_short)) {
      return option;
    }
  }
  return nullptr;
}

// Parses the arguments after the subcommand's name: options anywhere, "--"
// ends them, "--name=value" or "--name value", "-o value". Returns -1 to go
// on, or the exit status (help shown, or a usage error).
int parse(const COMMAND& command, int argc, const char** argv, DTMTOOL_ARGS& args) {
  bool options_ended = false;
  for (int i = 0; i < argc; ++i) {
    const std::string_view word = argv[i];
    if (options_ended || word.size() < 2 || word[0] != '-') {
      args.m_operands.emplace_back(word);
      continue;
    }
    if (word == "--") {
      options_ended = true;
      continue;
    }
    if (word == "-h" || word == "--help") {
      print_help(command, std::cout);
      return DTMTOOL_OK;
    }
    const std::size_t equals = word.starts_with("--") ? word.find('=') : std::string_view::npos;
    const std::string_view name = word.substr(0, equals);
    const OPTION* option = find_option(command, name);
    if (option == nullptr) {
      return usage_error(command, "unknown option '" + std::string(name) + "'");
    }
    std::string value;
    if (option->m_value == nullptr) {
      if (equals != std::string_view::npos) {
        return usage_error(command, "option '" + std::string(name) + "' takes no value");
      }
    } else if (equals != std::string_view::npos) {
      value = word.substr(equals + 1);
    } else if (i + 1 < argc) {
      value = argv[++i];
    } else {
      return usage_error(
          command, "option '" + std::string(name) + "' needs a value (" + option->m_value + ")");
    }
    if (!option->m_set(args, option->m_value != nullptr ? value.c_str() : nullptr)) {
      return usage_error(command,
                         "invalid value '" + value + "' for option '" + std::string(name) + "'");
    }
  }
  const int count = static_cast<int>(args.m_operands.size());
  if (count < command.m_min_operands) {
    return usage_error(command, "missing arguments");
  }
  if (command.m_max_operands != k_any && count > command.m_max_operands) {
    return usage_error(command,
                       "unexpected argument '" +
                           args.m_operands[static_cast<std::size_t>(command.m_max_operands)] + "'");
  }
  if (args.m_outline && args.m_paths) {
    return usage_error(command, "--outline and --paths exclude each other");
  }
  if (args.m_values && args.m_missing) {
    return usage_error(command, "--values and --missing exclude each other");
  }
  if (find_option(command, "--output") != nullptr && args.m_output.empty()) {
    return usage_error(command, "missing -o FILE");
  }
  return -1;
}

}  // namespace

int dtmtool_main(int argc, const char** argv) {
  if (argc < 2) {
    std::cerr << "Usage: dtmtool COMMAND [ARGUMENTS]\n"
                 "Try 'dtmtool --help'.\n";
    return DTMTOOL_USAGE;
  }
  const std::string_view first = argv[1];
  if (first == "--help" || first == "-h") {
    print_overview(std::cout);
    return DTMTOOL_OK;
  }
  if (first == "--version") {
    std::cout << "dtmtool " << DTMTOOL_VERSION << '\n';
    return DTMTOOL_OK;
  }
  const COMMAND* command = find_command(first);
  if (command == nullptr) {
    dtmtool_error(first.starts_with("-") ? "unknown option '" + std::string(first) + "'"
                                         : "unknown command '" + std::string(first) + "'");
    std::cerr << "Try 'dtmtool --help'.\n";
    return DTMTOOL_USAGE;
  }
  dtmtool_set_command(command->m_name);
  DTMTOOL_ARGS args;
  const int status = parse(*command, argc - 2, argv + 2, args);
  if (status >= 0) {
    return status;
  }
  return command->m_run(args);
}
