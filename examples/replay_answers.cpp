// A silent installation replays recorded answers: it reads the installer's rules and the answer
// file, and checks every answer before it installs anything. The body of replay() is the
// README's replay example, word for word between the markers (a test holds the two equal), so
// that the example compiles as written.
//
//   replay_answers   (in a folder holding rules.txt and kestra-answers.txt)
//
// Prints "replayed N answers", or the first mistake in the rules or the answers (exit 1).
#include <cstddef>
#include <exception>
#include <iostream>
#include <stdexcept>

#include "install/cpputil.hpp"

namespace cpputil = install::cpputil;

namespace {

std::size_t replay() {
  // README replay: begin
  // 3. Replay: the silent installation reads the rules and the file, and checks every answer.
  cpputil::RulesFile const rules = cpputil::readRulesFile(u"rules.txt");
  if (!rules.findings.empty()) throw std::runtime_error(rules.findings.front().message);
  cpputil::PropertyMap const replayed = cpputil::InputFileParser().parse(u"kestra-answers.txt");
  auto const answers = cpputil::toValidationArguments(replayed);  // single values; lists left out
  cpputil::validate_args(answers, rules.rules);  // throws on the first wrong answer
  // README replay: end
  return answers.size();
}

}  // namespace

int main() {
  try {
    std::cout << "replayed " << replay() << " answers\n";
    return 0;
  } catch (std::exception const& error) {
    std::cerr << "replay_answers: " << error.what() << '\n';
    return 1;
  }
}
