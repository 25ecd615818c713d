// The subcommands, one function each.
#include <charconv>
#include <cstdint>
#include <fstream>
#include <iostream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "dtm_export.h"
#include "dtm_gen.h"
#include "dtm_node.h"
#include "dtm_string.h"
#include "dtm_tcl_report.h"
#include "dtm_types.h"
#include "dtmtool.h"
#include "fio_sys.h"
#include "kestrel.h"

namespace {

std::string count_text(std::size_t count, const char* one, const char* many) {
  return std::to_string(count) + ' ' + (count == 1 ? one : many);
}

// The operands must all be DMF text.
bool check_dmf_operands(const DTMTOOL_ARGS& args) {
  for (const std::string& file : args.m_operands) {
    if (dtmtool_is_database(file)) {
      dtmtool_error(file + ": a database; this command reads DMF files");
      return false;
    }
  }
  return dtmtool_check_dmf_inputs(args.m_operands, args);
}

}  // namespace

int dtmtool_build_command(const DTMTOOL_ARGS& args) {
  if (!dtmtool_is_database(args.m_output)) {
    dtmtool_error(args.m_output + ": the model's name must end with .ddb");
    return DTMTOOL_USAGE;
  }
  if (!check_dmf_operands(args)) {
    return DTMTOOL_USAGE;
  }
  DTMTOOL_REPORTER reporter;
  const DTMTOOL_MODEL model = dtmtool_build(args.m_operands, args, reporter);
  if (reporter.get_count() > 0 || model == nullptr) {
    dtmtool_error(count_text(reporter.get_count(), "report", "reports") + "; " + args.m_output +
                  " not written");
    return DTMTOOL_INPUT_ERROR;
  }
  return dtmtool_save(*model, args.m_output, reporter) ? DTMTOOL_OK : DTMTOOL_INPUT_ERROR;
}

int dtmtool_check_command(const DTMTOOL_ARGS& args) {
  if (!check_dmf_operands(args)) {
    return DTMTOOL_USAGE;
  }
  DTMTOOL_REPORTER reporter;
  const DTMTOOL_MODEL model = dtmtool_build(args.m_operands, args, reporter);
  std::cout << count_text(args.m_operands.size(), "file", "files") << " checked, "
            << count_text(reporter.get_count(), "report", "reports") << '\n';
  return reporter.get_count() == 0 ? DTMTOOL_OK : DTMTOOL_INPUT_ERROR;
}

int dtmtool_devices_command(const DTMTOOL_ARGS& args) {
  const std::string& file = args.m_operands[0];
  if (!FIO_FILE_SYSTEM::exists(file)) {
    dtmtool_error(file + ": no such file");
    return DTMTOOL_USAGE;
  }
  if (test_non_amalgamated(file.c_str())) {
    dtmtool_error(file + ": a plain DMF file: it has no device listing");
    return DTMTOOL_INPUT_ERROR;
  }
  DTMTOOL_REPORTER reporter;
  reporter.set_file(file);
  std::vector<std::string> devices;
  DTM_FACTORY().get_device_listing(file.c_str(), devices);
  for (const std::string& device : devices) {
    std::cout << device << '\n';
  }
  return reporter.get_count() == 0 ? DTMTOOL_OK : DTMTOOL_INPUT_ERROR;
}

int dtmtool_dump_command(const DTMTOOL_ARGS& args) {
  DTMTOOL_REPORTER reporter;
  int status = DTMTOOL_OK;
  const DTMTOOL_MODEL model = dtmtool_read_model(args.m_operands[0], args, reporter, status);
  if (model == nullptr) {
    return status;
  }
  if (args.m_paths) {
    model->dump_tree(std::cout, std::string());
  } else {
    model->dump_tree(std::cout, 0, 1, 1);
  }
  return reporter.get_count() == 0 ? DTMTOOL_OK : DTMTOOL_INPUT_ERROR;
}

namespace {

// Whether any enumeration of the model knows the name.
bool is_known_name(const std::string& name) {
  const char* text = name.c_str();
  return DTM_STRING::get_dtm_node_enum(text) != DTM_NODE_NONE ||
         DTM_STRING::get_dtm_enum(text) != DTM_NONE ||
         name == DTM_STRING::get_dtm_enum_string(DTM_NONE) ||
         DTM_STRING::get_cdb_re_type_enum(text) != CDB_RE_ILLEGAL_TYPE ||
         DTM_STRING::get_db_input_port_type_enum(text) != DB_MAX_INPUT_PORT_TYPE ||
         DTM_STRING::get_db_output_port_type_enum(text) != DB_MAX_OUTPUT_PORT_TYPE ||
         DTM_STRING::get_db_buried_port_type_enum(text) != DB_MAX_BURIED_PORT_TYPE;
}

template <class VALUE>
std::string number_text(VALUE value) {
  char buffer[64];
  const std::to_chars_result result = std::to_chars(buffer, buffer + sizeof buffer, value);
  return std::string(buffer, result.ptr);
}

}  // namespace

int dtmtool_query_command(const DTMTOOL_ARGS& args) {
  DTMTOOL_REPORTER reporter;
  int status = DTMTOOL_OK;
  const std::string& input = args.m_operands[0];
  const DTMTOOL_MODEL model = dtmtool_read_model(input, args, reporter, status);
  if (model == nullptr) {
    return status;
  }
  // The query as the library takes it: pointers to the names.
  std::vector<std::string> names(args.m_operands.begin() + 1, args.m_operands.end());
  DTM_STRING::STRINGS query;
  std::string words;
  for (std::string& name : names) {
    query.push_back(&name);
    words += (words.empty() ? "" : " ") + name;
  }
  // The floating-point kinds have their own lookup.
  const DTM_NODE_ENUM type = DTM_STRING::get_dtm_node_enum(names[0].c_str());
  const bool floating = type == DTM_RC || type == DTM_FLOAT_TABLE;
  DTM_TCL_REPORT report;
  std::string value;
  const std::size_t before = reporter.get_count();
  try {
    if (floating) {
      const double delay = DTM_STRING::get_float(&query, model.get(), &report);
      if (delay != DTM_ILLEGAL_FLOAT && delay != DTM_ILLEGAL_TABLE_FLOAT) {
        value = number_text(delay);
      }
    } else {
      const std::int32_t delay = DTM_STRING::get_delay(&query, model.get(), &report);
      if (delay != DTM_ILLEGAL_DELAY) {
        value = number_text(delay);
      }
    }
  } catch (const std::out_of_range&) {
    dtmtool_error("too few names for a " + names[0] + " query: " + words);
    return DTMTOOL_USAGE;
  }
  if (reporter.get_count() != before) {
    dtmtool_error("no query of this kind: " + words + " (see 'dtmtool query --help')");
    return DTMTOOL_USAGE;
  }
  if (value.empty()) {
    std::string unknown;
    for (const std::string& name : names) {
      if (!is_known_name(name)) {
        unknown += (unknown.empty() ? " (unknown names: " : " ") + name;
      }
    }
    dtmtool_error(input + ": no delay for " + words + (unknown.empty() ? "" : unknown + ")"));
    return DTMTOOL_INPUT_ERROR;
  }
  std::cout << value << '\n';
  return DTMTOOL_OK;
}

int dtmtool_diff_command(const DTMTOOL_ARGS& args) {
  DTMTOOL_REPORTER reporter;
  int status = DTMTOOL_OK;
  // Any input that cannot be used is 2: 1 means that the models differ.
  const DTMTOOL_MODEL a = dtmtool_read_model(args.m_operands[0], args, reporter, status);
  if (a == nullptr) {
    return DTMTOOL_USAGE;
  }
  const DTMTOOL_MODEL b = dtmtool_read_model(args.m_operands[1], args, reporter, status);
  if (b == nullptr) {
    return DTMTOOL_USAGE;
  }
  // The comparison is one-way: what one model lacks is asked both ways; the
  // values that both hold, once.
  struct PASS {
    const DTM_NODE* m_from;
    const DTM_NODE* m_to;
    const std::string* m_file;
    const char* m_marker;
    bool m_values;
  };
  const PASS passes[] = {{a.get(), b.get(), &args.m_operands[0], "<", false},
                         {b.get(), a.get(), &args.m_operands[1], ">", false},
                         {a.get(), b.get(), &args.m_operands[0], "!", true}};
  const std::size_t before = reporter.get_count();
  bool differ = false;
  for (const PASS& pass : passes) {
    if ((pass.m_values && args.m_missing) || (!pass.m_values && args.m_values)) {
      continue;
    }
    reporter.set_file(*pass.m_file);
    std::ostringstream lines;
    pass.m_from->compare_trees(pass.m_to, lines, pass.m_marker, pass.m_values, pass.m_values,
                               args.m_tolerance);
    differ = differ || !lines.str().empty();
    std::cout << lines.str();
  }
  return differ || reporter.get_count() != before ? DTMTOOL_INPUT_ERROR : DTMTOOL_OK;
}

int dtmtool_export_command(const DTMTOOL_ARGS& args) {
  DTMTOOL_REPORTER reporter;
  int status = DTMTOOL_OK;
  const std::string& input = args.m_operands[0];
  const DTMTOOL_MODEL model = dtmtool_read_model(input, args, reporter, status);
  if (model == nullptr) {
    return status;
  }
  const bool to_stdout = args.m_output == "-";
  std::ofstream file;
  if (!to_stdout) {
    file.open(args.m_output, std::ios::binary | std::ios::trunc);
    if (!file) {
      dtmtool_error(args.m_output + ": cannot be written");
      return DTMTOOL_USAGE;
    }
  }
  std::ostream& out = to_stdout ? std::cout : file;
  out << "% DMF text written by dtmtool export from " << input << "\n";
  const std::size_t before = reporter.get_count();
  DTM_EXPORT::write_dmf(model.get(), out);
  out.flush();
  if (!out) {
    dtmtool_error(args.m_output + ": cannot be written");
    return DTMTOOL_USAGE;
  }
  return reporter.get_count() == before ? DTMTOOL_OK : DTMTOOL_INPUT_ERROR;
}
