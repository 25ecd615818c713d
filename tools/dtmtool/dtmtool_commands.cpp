// The subcommands, one function each.
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include "dtm_export.h"
#include "dtm_gen.h"
#include "dtm_node.h"
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
  (void)args.m_paths;
  dtmtool_error("dump is not available yet");
  return DTMTOOL_USAGE;
}

int dtmtool_query_command(const DTMTOOL_ARGS& args) {
  DTMTOOL_REPORTER reporter;
  int status = DTMTOOL_OK;
  const DTMTOOL_MODEL model = dtmtool_read_model(args.m_operands[0], args, reporter, status);
  if (model == nullptr) {
    return status;
  }
  dtmtool_error("query is not available yet");
  return DTMTOOL_USAGE;
}

int dtmtool_diff_command(const DTMTOOL_ARGS& args) {
  DTMTOOL_REPORTER reporter;
  int status = DTMTOOL_OK;
  const DTMTOOL_MODEL a = dtmtool_read_model(args.m_operands[0], args, reporter, status);
  if (a == nullptr) {
    return DTMTOOL_USAGE;
  }
  const DTMTOOL_MODEL b = dtmtool_read_model(args.m_operands[1], args, reporter, status);
  if (b == nullptr) {
    return DTMTOOL_USAGE;
  }
  dtmtool_error("diff is not available yet");
  return DTMTOOL_USAGE;
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
