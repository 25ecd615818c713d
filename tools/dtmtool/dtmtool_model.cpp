// Models for the commands: built from DMF text through the library's build
// pipeline, or loaded from and saved to .ddb databases.
#include <string>
#include <string_view>
#include <vector>

#include "dtm_gen.h"
#include "dtm_node.h"
#include "dtmtool.h"
#include "fio_sys.h"
#include "kestrel.h"
#include "mem_alloc_sys.h"
#include "pdb_sys.h"

void DTMTOOL_MODEL_DELETER::operator()(DTM_NODE* root) const { MEM_MANAGER::delete_wrapper(root); }

bool dtmtool_is_database(const std::string& name) {
  constexpr std::string_view k_extension = ".ddb";
  return name.size() > k_extension.size() && name.ends_with(k_extension);
}

bool dtmtool_check_dmf_inputs(const std::vector<std::string>& files, const DTMTOOL_ARGS& args) {
  for (const std::string& file : files) {
    if (!FIO_FILE_SYSTEM::exists(file)) {
      dtmtool_error(file + ": no such file");
      return false;
    }
    if (!args.m_device && !test_non_amalgamated(file.c_str())) {
      std::vector<std::string> devices;
      DTM_FACTORY().get_device_listing(file.c_str(), devices);
      std::string listing;
      for (const std::string& device : devices) {
        listing += ' ' + device;
      }
      dtmtool_error(
          file + ": an amalgamated file: choose a device with --device (devices:" + listing + ")");
      return false;
    }
  }
  return true;
}

DTMTOOL_MODEL dtmtool_build(const std::vector<std::string>& files, const DTMTOOL_ARGS& args,
                            DTMTOOL_REPORTER& reporter) {
  DTM_FACTORY factory;
  DTM_FACTORY::DTM_DELAY_TARGET target;
  if (args.m_bin) {
    target.m_bin = MEM_STRING(args.m_bin->c_str());
  }
  if (args.m_version) {
    target.m_version = MEM_STRING(args.m_version->c_str());
  }
  factory.set_delay_target(target);
  factory.set_update_flag(args.m_update);

  DTMTOOL_MODEL model;
  for (const std::string& file : files) {
    reporter.set_file(file);
    const DTMTOOL_LIBRARY_OUTPUT detour(reporter);
    const DTMTOOL_PROGRESS progress(file);
    // The device names a section of an amalgamated file; a plain file is
    // read whole.
    const bool sections = args.m_device && !test_non_amalgamated(file.c_str());
    DTM_NODE* root = factory.build_nodes(model.get(), file.c_str(), args.m_trace_tree,
                                         args.m_trace_lines, sections ? &*args.m_device : nullptr);
    if (root != nullptr && root != model.get()) {
      model.reset(root);
    }
  }
  return model;
}

namespace {

// The archive of a database: its name without the final ".ddb".
std::string archive_name(const std::string& database) {
  return database.substr(0, database.size() - std::string_view(".ddb").size());
}

DTMTOOL_MODEL load(const std::string& database, DTMTOOL_REPORTER& reporter, int& status) {
  if (!FIO_FILE_SYSTEM::exists(database)) {
    dtmtool_error(database + ": no such file");
    status = DTMTOOL_USAGE;
    return nullptr;
  }
  reporter.set_file(database);
  const std::size_t before = reporter.get_count();
  PDB_ARCHIVE archive;
  archive.open(archive_name(database));
  DTM_NODE* root = nullptr;
  bool opened = false;
  try {
    opened = pdb_read_<PDB_ARCHIVE, DTM_NODE>(root, archive, "");
  } catch (const PDB_DATABASE_EXCEPTION& error) {
    archive.close();
    dtmtool_error(std::string(error.what()));
    status = DTMTOOL_INPUT_ERROR;
    return nullptr;
  }
  archive.close();
  DTMTOOL_MODEL model(root);
  if (!opened) {
    dtmtool_error(database + ": cannot be opened");
    status = DTMTOOL_USAGE;
    return nullptr;
  }
  if (model == nullptr) {
    dtmtool_error(database + ": holds no model");
    status = DTMTOOL_INPUT_ERROR;
    return nullptr;
  }
  const std::size_t reports = reporter.get_count() - before;
  if (reports > 0) {
    dtmtool_error(database + ": " + std::to_string(reports) +
                  (reports == 1 ? " report" : " reports") + "; the model is not used");
    status = DTMTOOL_INPUT_ERROR;
    return nullptr;
  }
  return model;
}

}  // namespace

DTMTOOL_MODEL dtmtool_read_model(const std::string& input, const DTMTOOL_ARGS& args,
                                 DTMTOOL_REPORTER& reporter, int& status) {
  if (dtmtool_is_database(input)) {
    return load(input, reporter, status);
  }
  if (!dtmtool_check_dmf_inputs({input}, args)) {
    status = DTMTOOL_USAGE;
    return nullptr;
  }
  const std::size_t before = reporter.get_count();
  DTMTOOL_MODEL model = dtmtool_build({input}, args, reporter);
  const std::size_t reports = reporter.get_count() - before;
  if (reports > 0 || model == nullptr) {
    dtmtool_error(input + ": " + std::to_string(reports) + (reports == 1 ? " report" : " reports") +
                  "; the model is not used (see: dtmtool check " + input + ")");
    status = DTMTOOL_INPUT_ERROR;
    return nullptr;
  }
  reporter.set_file(input);
  return model;
}

// The layer writes a new file and puts it in place only when all of it was
// written: a failed save leaves an existing database as it was.
bool dtmtool_save(const DTM_NODE& root, const std::string& database, DTMTOOL_REPORTER& reporter) {
  reporter.set_file(database);
  const std::size_t before = reporter.get_count();
  PDB_ARCHIVE archive;
  archive.open(archive_name(database));
  bool written = false;
  try {
    written = pdb_write_(&root, archive, "");
    if (!written) {
      dtmtool_error(database + ": cannot be created");
    }
  } catch (const PDB_DATABASE_EXCEPTION& error) {
    dtmtool_error(std::string(error.what()));
  }
  archive.close();
  return written && reporter.get_count() == before;
}
