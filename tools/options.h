// The options and arguments that words are parsed by.

#ifndef TOOLS_OPTIONS_H_
#define TOOLS_OPTIONS_H_

#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
class Option;
}  // namespace CLI

namespace tool {

// What was added, to say more about it.
class COption {
 public:
  explicit COption(CLI::Option* option) : m_option(option) {}

  COption& Required();
  COption& OneOf(const std::vector<std::string>& values);
  COption& UpTo(double highest);  // from 0
  COption& OneEach();             // of several, not all words that follow
  COption& Needs(const COption& other);
  COption& Excludes(const COption& other);

 private:
  CLI::Option* m_option;
};

// Values that are parsed must live as long.  Copies share what was added.
class COptions {
 public:
  COptions();                                    // of words alone
  COptions(const char* name, const char* what);  // of a program

  // A command of the program.
  COptions Command(const char* name, const char* what);
  // The command takes the program's options, too.
  void TakeOuter();
  // Stands at the end of the help.
  void Footer(const char* text);

  COption Flag(const char* names, bool& value, const char* what);
  // Without dashes it is an argument.
  template <typename Value>
  COption Option(const char* names, Value& value, const char* what);
  // One text, split at its commas.
  COption List(const char* name, std::vector<std::string>& value,
               const char* what);

  // What was asked for instead of a command.
  enum class Asked { kNothing, kHelp, kVersion };
  // Throws CWrongUsage.
  Asked Parse(std::vector<std::string> words);
  std::vector<std::string> Unexpected() const;
  // The command that was parsed, or empty.
  std::string Chosen() const;

  std::vector<std::string> Commands() const;
  // Of a command, or of the program for an empty name.
  std::string HelpOf(const std::string& command) const;

 private:
  explicit COptions(std::shared_ptr<CLI::App> app);

  std::shared_ptr<CLI::App> m_app;
};

}  // namespace tool

#endif  // TOOLS_OPTIONS_H_
