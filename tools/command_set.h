// The commands that a command line may name.

#ifndef TOOLS_COMMAND_SET_H_
#define TOOLS_COMMAND_SET_H_

#include <CLI/CLI.hpp>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "context.h"

namespace tool {

using Runs = std::function<void(const CContext& context)>;

class CCommandSet {
 public:
  // The app gets the commands; both must live as long.
  CCommandSet(CLI::App& app, bool& endsWithNul)
      : m_app(app), m_endsWithNul(endsWithNul) {}

  template <typename Options>
  using Command = void (*)(const CContext& context, const Options& options);

  // A command with its options, which live as long as what runs it.
  template <typename Options>
  std::pair<CLI::App*, Options&> Add(const char* name, const char* what,
                                     const char* example,
                                     Command<Options> command) {
    CLI::App* app = m_app.add_subcommand(name, what);
    app->fallthrough();
    EndWithNul(*app);  // a digit is an option where it was added only
    m_examples[name] = std::string("Example: kivdb ") + example + "\n\n";
    auto options = std::make_shared<Options>();
    m_runs[name] = [options, command](const CContext& context) {
      command(context, *options);
    };
    return {app, *options};
  }

  void EndWithNul(CLI::App& app) {
    app.add_flag("-0,--null", m_endsWithNul, "end ids with NUL, with -o ids");
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
  CLI::App& m_app;
  bool& m_endsWithNul;
  std::vector<std::string>* m_program = nullptr;
  std::map<std::string, Runs> m_runs;
  std::map<std::string, std::string> m_examples;
};

}  // namespace tool

#endif  // TOOLS_COMMAND_SET_H_
