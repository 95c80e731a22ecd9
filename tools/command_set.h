// The commands that a command line may name.

#ifndef TOOLS_COMMAND_SET_H_
#define TOOLS_COMMAND_SET_H_

#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "context.h"
#include "options.h"

namespace tool {

using Runs = std::function<void(const CContext& context)>;

class CCommandSet {
 public:
  // The program gets the commands; the flag must live as long.
  CCommandSet(COptions program, bool& endsWithNul)
      : m_all(std::move(program)), m_endsWithNul(endsWithNul) {}

  template <typename Options>
  using Command = void (*)(const CContext& context, const Options& options);

  // A command with its options, which live as long as what runs it.
  template <typename Options>
  std::pair<COptions, Options&> Add(const char* name, const char* what,
                                    const char* example, Command<Options> run) {
    COptions command = m_all.Command(name, what);
    command.TakeOuter();
    EndWithNul(command);  // a digit is an option where it was added only
    m_examples[name] = std::string("Example: kivdb ") + example + "\n\n";
    auto options = std::make_shared<Options>();
    m_runs[name] = [options, run](const CContext& context) {
      run(context, *options);
    };
    return {command, *options};
  }

  void EndWithNul(COptions& command) {
    command.Flag("-0,--null", m_endsWithNul, "end ids with NUL, with -o ids");
  }

  // Where the words behind "--" go, for a command that runs a program.
  void SetProgram(std::vector<std::string>& program) { m_program = &program; }
  std::vector<std::string>* program() const { return m_program; }

  const Runs& RunOf(const std::string& name) const { return m_runs.at(name); }

  // Empty where there is none.
  std::string ExampleOf(const std::string& name) const {
    const auto found = m_examples.find(name);
    return found != m_examples.end() ? found->second : "";
  }

 private:
  COptions m_all;
  bool& m_endsWithNul;
  std::vector<std::string>* m_program = nullptr;
  std::map<std::string, Runs> m_runs;
  std::map<std::string, std::string> m_examples;
};

}  // namespace tool

#endif  // TOOLS_COMMAND_SET_H_
