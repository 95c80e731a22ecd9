// The host's configuration and the names of its values.

#include "zel.h"

// NOLINTBEGIN(clang-diagnostic-reserved-identifier): the platform's names
extern "C" const char* const _zel_config_section_string_table_[] = {
    "StorageDatabase", nullptr};
extern "C" const char* const _zel_config_entry_string_table_[] = {"Path",
                                                                  nullptr};
// NOLINTEND(clang-diagnostic-reserved-identifier)

ConfigClass::ConfigClass(const char* inifile)
    : m_mutex(), m_inifile(inifile == nullptr ? "" : inifile) {
  pthread_mutex_init(&m_mutex, nullptr);
}

ConfigClass::~ConfigClass() { pthread_mutex_destroy(&m_mutex); }

pthread_mutex_t* ConfigClass::mutex() { return &m_mutex; }

const char* ConfigClass::inifile() const { return m_inifile.c_str(); }
