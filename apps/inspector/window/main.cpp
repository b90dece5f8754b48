#include <QApplication>
#include <algorithm>
#include <array>
#include <csignal>
#include <cstdlib>
#include <string>
#include <vector>

#include "apps/common/OptionReader.h"
#include "apps/common/Output.h"
#include "apps/inspector/model/LocalSource.h"
#include "apps/inspector/text/Candidates.h"
#include "apps/inspector/window/MainWindow.h"
#include "apps/inspector/window/Pages.h"
#include "apps/inspector/window/SingleInstance.h"
#include "corvane/core/MasterTimer.h"
#include "corvane/infra/Bundle.h"
#include "corvane/infra/Logger.h"
#include "corvane/platform/EndSignals.h"
#include "corvane/ui/Appearance.h"
#include "corvane/ui/Translator.h"

namespace corvane::inspector {

namespace {

constexpr char NAME[] = "corvane-inspector-window";

struct Options {
  QString page;
  std::string program;
  std::string root;
};

std::string pageNames() {
  std::string names;
  for (const PageKind& kind : pageKinds()) names.append(names.empty() ? "" : ", ").append(kind.id);
  return names;
}

constexpr char SUMMARY[] =
    "shows what the machine and the program's timers do; a second start shows the first one's window";

std::vector<Candidate> pageCandidates(const Arguments&) {
  std::vector<Candidate> candidates;
  for (const PageKind& kind : pageKinds()) candidates.push_back({kind.id, kind.title});
  return candidates;
}

constexpr std::array VALUES = {Values{"NAME", programCandidates}, Values{"PAGE", pageCandidates}};

// Answers what needs no window.
std::optional<int> answerAtOnce(const Arguments& arguments) {
  const std::string details =
      "  --attach NAME  look at the running program with this name or process id\n"
      "  --page PAGE    show this page first: " +
      pageNames() +
      "\n"
      "  --root FOLDER  read /proc and /sys below FOLDER\n"
      "  --version      show the program's version\n"
      "  -h, --help     show this help\n";
  const Command window = {"", "[OPTION]...", SUMMARY, details, nullptr};
  const Program program = {NAME, {&window, 1}, {}, false, VALUES};
  const auto isHelp = [](std::string_view option) { return option == "--help" || option == "-h"; };
  if (std::ranges::any_of(arguments, isHelp)) return answer(program, {"--help"});
  return answer(program, arguments);
}

tl::expected<Options, std::string> parse(const Arguments& arguments) {
  Options options;
  for (OptionReader option(arguments); option.next();) {
    const bool isPage = option.name() == "--page", isProgram = option.name() == "--attach";
    if (!isPage && !isProgram && option.name() != "--root") return option.unknown();
    const auto value = option.value();
    if (!value) return tl::unexpected(value.error());
    if (isProgram && value->empty()) return option.failure("the name is missing");
    if (!isPage) {
      (isProgram ? options.program : options.root) = *value;
    } else if (std::ranges::any_of(pageKinds(), [&](const PageKind& kind) { return *value == kind.id; })) {
      options.page = QString::fromUtf8(value->data(), static_cast<qsizetype>(value->size()));
    } else {
      return option.failure("there are " + pageNames());
    }
  }
  return options;
}

// What a launcher gives the new process so that its window may come to the front.
QByteArray activationToken() {
  for (const char* const name : {"XDG_ACTIVATION_TOKEN", "DESKTOP_STARTUP_ID"})
    if (const QByteArray token = qgetenv(name); !token.isEmpty()) return token;
  return {};
}

// What the first start is told by another one: page, program and token.
QString messageOf(const Options& options, const QByteArray& token) {
  const QByteArray program = QByteArray::fromStdString(options.program).toPercentEncoding();
  return options.page + u' ' + QString::fromUtf8(program) + u' ' + QString::fromUtf8(token);
}

int show(QApplication& application, const Options& options, const QByteArray& token) {
  SingleInstance instance(QStringLiteral("org.corvane.Inspector"));
  if (!instance.isFirst())
    return instance.pass(messageOf(options, token)) ? 0 : fail("another one runs, but its window does not answer");
  const auto logger = Logger::instance();
  MasterTimer::instance()->start();
  int status = 0;
  int received = 0;
  {
    const EndSignals signals([&received](int number) {
      received = number;
      QApplication::quit();
    });
    LocalSource source(options.root);
    MainWindow window(source, options.page, CORVANE_DONATION_PAGE);
    window.show();
    if (!options.program.empty()) window.attach(options.program);
    QObject::connect(&instance, &SingleInstance::received, &window, [&window](const QString& message) {
      window.showPage(message.section(u' ', 0, 0));
      if (const QString program = message.section(u' ', 1, 1); !program.isEmpty())
        window.attach(QByteArray::fromPercentEncoding(program.toUtf8()).toStdString());
      if (const QString mark = message.section(u' ', 2); !mark.isEmpty())
        qputenv("XDG_ACTIVATION_TOKEN", mark.toUtf8());  // Qt takes it when the window is activated
      window.bringToFront();
    });
    status = application.exec();
  }
  MasterTimer::instance()->stop();
  logger->close();
  if (received != 0) std::raise(received);  // shows the parent what ended the process
  return status;
}

// Without a display Qt would dump core, and advise people to install the program anew.
void endWithoutDisplay(QtMsgType type, const QMessageLogContext&, const QString& text) {
  if (type == QtFatalMsg)
    std::_Exit(fail("no window can be shown here; corvane-inspector shows the same in a terminal"));
  if (!text.startsWith(u"Could not load the Qt platform plugin")) report(text.toStdString());
}

int run(int argc, char** argv) {
  setProgramName(NAME);
  const Arguments all(argv + 1, argv + argc);
  if (const auto status = answerAtOnce(all)) return *status;
  const QByteArray token = activationToken();
  const QtMessageHandler usual = qInstallMessageHandler(endWithoutDisplay);
  QApplication application(argc, argv);  // takes the toolkit's own options
  qInstallMessageHandler(usual);
  QApplication::setApplicationName(QStringLiteral("Corvane Inspector"));
  QApplication::setDesktopFileName(QStringLiteral("org.corvane.Inspector"));
  if (const auto icon = Bundle::mainBundle()->resource("org.corvane.Inspector.svg"))
    QApplication::setWindowIcon(QIcon(QString::fromStdString(*icon)));
  followAppearance();
  Translator translator(NAME);
  QCoreApplication::installTranslator(&translator);
  std::signal(SIGPIPE, SIG_IGN);
  const auto options = parse({argv + 1, argv + argc});
  if (!options) return failUsage(options.error());
  return show(application, *options, token);
}

}  // namespace

}  // namespace corvane::inspector

int main(int argc, char** argv) {
  return corvane::inspector::run(argc, argv);
}
