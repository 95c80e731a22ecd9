// Options by CLI11, which takes long to compile: it is included only here.

#include "options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>
#include <type_traits>
#include <utility>

#include "report.h"

namespace tool {

COption& COption::Required() {
  m_option->required();
  return *this;
}

COption& COption::OneOf(const std::vector<std::string>& values) {
  m_option->check(CLI::IsMember(values));
  return *this;
}

COption& COption::UpTo(double highest) {
  m_option->check(CLI::Range(0.0, highest));
  return *this;
}

COption& COption::OneEach() {
  m_option->expected(1)->take_all();
  return *this;
}

COption& COption::Needs(const COption& other) {
  m_option->needs(other.m_option);
  return *this;
}

COption& COption::Excludes(const COption& other) {
  m_option->excludes(other.m_option);
  return *this;
}

COptions::COptions() : m_app(std::make_shared<CLI::App>()) {
  m_app->set_help_flag();
  m_app->allow_extras();
}

COptions::COptions(const char* name, const char* what)
    : m_app(std::make_shared<CLI::App>(what, name)) {
  m_app->allow_extras();
  m_app->require_subcommand(0, 1);  // a column may have the name of a command
  m_app->set_version_flag("--version", "");
}

COptions::COptions(std::shared_ptr<CLI::App> app) : m_app(std::move(app)) {}

COptions COptions::Command(const char* name, const char* what) {
  return COptions(m_app->get_subcommand_ptr(m_app->add_subcommand(name, what)));
}

void COptions::TakeOuter() { m_app->fallthrough(); }

void COptions::Footer(const char* text) { m_app->footer(text); }

COption COptions::Flag(const char* names, bool& value, const char* what) {
  return COption(m_app->add_flag(names, value, what));
}

template <typename Value>
COption COptions::Option(const char* names, Value& value, const char* what) {
  if constexpr (std::is_same_v<Value, std::optional<std::string>>) {
    // CLI11 takes an empty text for none.
    const auto take = [&value](const std::string& text) { value = text; };
    return COption(m_app->add_option_function<std::string>(names, take, what));
  } else {
    return COption(m_app->add_option(names, value, what));
  }
}

template COption COptions::Option(const char*, std::string&, const char*);
template COption COptions::Option(const char*, std::vector<std::string>&,
                                  const char*);
template COption COptions::Option(const char*, unsigned&, const char*);
template COption COptions::Option(const char*, double&, const char*);
template COption COptions::Option(const char*, std::optional<int>&,
                                  const char*);
template COption COptions::Option(const char*, std::optional<std::string>&,
                                  const char*);
template COption COptions::Option(const char*, std::optional<std::size_t>&,
                                  const char*);

COption COptions::List(const char* name, std::vector<std::string>& value,
                       const char* what) {
  const auto split = [&value](const std::string& text) {
    value = CLI::detail::split(text, ',');
  };
  return COption(m_app->add_option_function<std::string>(name, split, what));
}

COptions::Asked COptions::Parse(std::vector<std::string> words) {
  std::reverse(words.begin(), words.end());  // as it takes them
  try {
    m_app->parse(std::move(words));
  } catch (const CLI::CallForHelp&) {
    return Asked::kHelp;
  } catch (const CLI::CallForVersion&) {
    return Asked::kVersion;
  } catch (const CLI::ParseError& error) {
    EndUsage("", error.what());
  }
  return Asked::kNothing;
}

std::vector<std::string> COptions::Unexpected() const {
  std::vector<std::string> words = m_app->remaining(true);
  const auto mark = std::find(words.begin(), words.end(), "--");
  if (mark != words.end()) words.erase(mark);
  return words;
}

std::string COptions::Chosen() const {
  for (const CLI::App* command : m_app->get_subcommands({})) {
    if (command->parsed()) return command->get_name();
  }
  return "";
}

std::vector<std::string> COptions::Commands() const {
  std::vector<std::string> names;
  for (const CLI::App* command : m_app->get_subcommands({})) {
    names.push_back(command->get_name());
  }
  return names;
}

std::string COptions::HelpOf(const std::string& command) const {
  const CLI::App* app = m_app.get();
  std::string name = app->get_name();
  if (!command.empty()) {
    app = app->get_subcommand(command);
    name += " " + command;
  }
  return app->get_formatter()->make_help(app, name, CLI::AppFormatMode::Normal);
}

}  // namespace tool
