// Running other programs.

#include "process.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <string_view>

#include "report.h"

namespace tool {
namespace {

// As C takes a list of texts, which must outlive it.
std::vector<char*> Pointers(std::vector<std::string>& texts) {
  std::vector<char*> pointers(texts.size() + 1);  // and a null
  std::transform(texts.begin(), texts.end(), pointers.begin(),
                 [](std::string& text) { return text.data(); });
  return pointers;
}

bool IsNamedIn(const std::vector<std::string>& variables,
               std::string_view variable) {
  const std::string_view name = variable.substr(0, variable.find('='));
  return std::any_of(variables.begin(), variables.end(),
                     [&](const std::string& other) {
                       return other.substr(0, other.find('=')) == name;
                     });
}

std::vector<std::string> EnvironmentOf(const CProgram& program) {
  std::vector<std::string> environment = program.variables;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    if (IsNamedIn(program.variables, *variable)) continue;
    environment.emplace_back(*variable);
  }
  return environment;
}

class CSpawn {
 public:
  explicit CSpawn(const CProgram& program) : m_program(program) {
    posix_spawnattr_init(&m_attributes);
    posix_spawn_file_actions_init(&m_files);
  }
  ~CSpawn() {
    posix_spawn_file_actions_destroy(&m_files);
    posix_spawnattr_destroy(&m_attributes);
  }
  CSpawn(const CSpawn&) = delete;
  CSpawn& operator=(const CSpawn&) = delete;

  int Start(pid_t& child) {
    posix_spawnattr_setsigdefault(&m_attributes, &m_program.defaults);
    posix_spawnattr_setsigmask(&m_attributes, &m_program.held);
    posix_spawnattr_setflags(&m_attributes,
                             POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSIGMASK);
    if (!m_program.hasInput) {
      const int error = posix_spawn_file_actions_addopen(
          &m_files, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
      if (error != 0) return error;
    }
    std::vector<std::string> words = m_program.words;
    std::vector<std::string> environment = EnvironmentOf(m_program);
    return posix_spawnp(&child, words.front().c_str(), &m_files, &m_attributes,
                        Pointers(words).data(), Pointers(environment).data());
  }

 private:
  const CProgram& m_program;
  posix_spawnattr_t m_attributes{};
  posix_spawn_file_actions_t m_files{};
};

}  // namespace

int RunProgram(const CProgram& program, int& status) {
  // Where its end is ignored nobody can wait for it.
  signal(SIGCHLD, SIG_DFL);
  pid_t child = -1;
  const int error = CSpawn(program).Start(child);
  if (error != 0) return error;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) EndTrouble("", WithError("cannot wait", errno));
  }
  return 0;
}

}  // namespace tool
