#include "ctl/Arguments.h"

#include <getopt.h>

#include "platform/Paths.h"

namespace norvane::ctl {

Arguments Parse(int argc, char** argv) {
  static const option Options[] = {{"folder", required_argument, nullptr, 'f'},
                                   {"json", no_argument, nullptr, 'j'},
                                   {"help", no_argument, nullptr, 'h'},
                                   {}};
  Arguments arguments;
  ::opterr = 0;
  // "+": options come before the command, so that a value may begin with a dash.
  for (int option; (option = ::getopt_long(argc, argv, "+", Options, nullptr)) != -1;) {
    switch (option) {
      case 'f':
        arguments.folder = optarg;
        break;
      case 'j':
        arguments.json = true;
        break;
      case 'h':
        arguments.help = true;
        break;
      default:
        throw UsageError(std::string("invalid option: ") + argv[optind - 1]);
    }
  }
  arguments.words.assign(argv + optind, argv + argc);
  arguments.folder = platform::FolderOrOwn(arguments.folder);
  return arguments;
}

}  // namespace norvane::ctl
