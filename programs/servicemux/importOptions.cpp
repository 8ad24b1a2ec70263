#include "programs/servicemux/importOptions.h"

#include "programs/servicemux/inputOptions.h"
#include "programs/servicemux/numberOptions.h"
#include "programs/tables/values/dvbText.h"

namespace vantor::cli {

namespace {

std::string checkCharset(const std::string& text) {
  return tables::isTextCharset(text) ? "" : "'" + text + "' is no character set that holds ASCII, like ISO-8859-9";
}

}  // namespace

void declareImportOptions(CLI::App& app, ImportOptions& options) {
  app.add_option("INPUT", options.input,
                 "Transport stream, sections back to back, or a table set, which is checked and laid out anew: a "
                 "file, - for stdin, or live udp://ADDR:PORT or rtp://ADDR:PORT")
      ->required()
      ->type_name("");
  app.add_option("-o,--output", options.output, "Write the table set there and not to stdout")
      ->type_name("OUT.json");
  app.add_flag(
      "--known-only", options.knownOnly,
      "Leave out what can only be kept as whole sections: tables of kinds that have no fields of their own");
  addDuration(app, options.duration, "Read a live input, or stdin, for so many seconds and not until Ctrl-C");
  addInputOptions(app, options.how);
  app.add_option("--default-charset", options.charset,
                 "Character set of the texts that do not say theirs, for broadcasters that leave that out, like "
                 "ISO-8859-9")
      ->type_name("NAME")
      ->check(checkCharset);
}

}  // namespace vantor::cli
