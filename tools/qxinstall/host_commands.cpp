// url-allowed, open, locale and sandbox: the host environment.
#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>

#include "cli.hpp"
#include "fl/filesystem.hpp"
#include "install/cpputil/installer_locale.hpp"
#include "install/cpputil/sandbox_workflow_detector.hpp"
#include "install/cpputil/url_opener.hpp"

namespace qx::cli {
namespace {

using install::cpputil::URLOpener;

Handler setup_url_allowed(CLI::App& app) {
  auto url = std::make_shared<std::string>();
  app.add_option("URL", *url, "URL to test")->required();
  app.footer("Prints allowed (exit 0) or refused (exit 1).");
  return [url] {
    bool const allowed = URLOpener::isAllowedUrl(*url);
    std::cout << (allowed ? "allowed" : "refused") << '\n';
    return allowed ? exit_ok : exit_failed;
  };
}

Handler setup_open(CLI::App& app) {
  auto url = std::make_shared<std::string>();
  app.add_option("URL", *url, "URL to open")->required();
  app.footer("A URL that url-allowed refuses is not opened (exit 1).");
  return [url] {
    if (!URLOpener::isAllowedUrl(*url)) {
      throw CommandError("refused " + in_quotes(*url) +
                             ": only https URLs on quillford.com and file URLs of .txt or .pdf "
                             "documents are opened",
                         exit_failed);
    }
    if (!URLOpener().openUrl(fl::i18n::utf8_to_ustring(*url))) {
      throw CommandError(
          "the opener could not open " + in_quotes(*url) + " (the installation log says why)",
          exit_failed);
    }
    return exit_ok;
  };
}

Handler setup_locale(CLI::App&) {
  return [] {
    std::cout << fl::i18n::ustring_to_utf8(install::cpputil::installer_locale::getLocale()) << '\n';
    return exit_ok;
  };
}

Handler setup_sandbox(CLI::App& app) {
  auto install_path = std::make_shared<std::string>();
  app.add_option("--install-path", *install_path,
                 "install folder to test instead of the library's own")
      ->type_name("DIR");
  app.footer("Prints yes when a qx_anchor entry sits beside the install folder, else no.");
  return [install_path] {
    if (!install_path->empty())
      fl::filesystem::set_install_path(fl::i18n::utf8_to_ustring(utf8_name(*install_path)));
    bool const sandbox = install::cpputil::SandboxWorkflowDetector().isSandboxWorkflow();
    std::cout << (sandbox ? "yes" : "no") << '\n';
    return exit_ok;
  };
}

}  // namespace

std::vector<Command> host_commands() {
  return {
      {"url-allowed", "Tell whether a URL may be opened", setup_url_allowed},
      {"open", "Open an allowed URL with the system's opener", setup_open},
      {"locale", "Print the user's locale as language_REGION", setup_locale},
      {"sandbox", "Tell whether the sandbox workflow is active", setup_sandbox},
  };
}

}  // namespace qx::cli
