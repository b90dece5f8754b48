#pragma once

#include <memory>
#include <string>

#include "corvane/platform/Export.h"
#include "corvane/platform/Platform.h"
#include "corvane/testing/FakeAlerts.h"
#include "corvane/testing/FakeAppearance.h"
#include "corvane/testing/FakeAuthorization.h"
#include "corvane/testing/FakeBundles.h"
#include "corvane/testing/FakeChildProcesses.h"
#include "corvane/testing/FakeDefaultsStore.h"
#include "corvane/testing/FakeDesktopPicture.h"
#include "corvane/testing/FakeDeviceRegistry.h"
#include "corvane/testing/FakeDiagnosticsPort.h"
#include "corvane/testing/FakeDiskService.h"
#include "corvane/testing/FakeFolders.h"
#include "corvane/testing/FakeFontBook.h"
#include "corvane/testing/FakeHelperInstaller.h"
#include "corvane/testing/FakeHttpSession.h"
#include "corvane/testing/FakeLoginItems.h"
#include "corvane/testing/FakeMessageConnections.h"
#include "corvane/testing/FakeMessageListeners.h"
#include "corvane/testing/FakePowerEvents.h"
#include "corvane/testing/FakePowerManager.h"
#include "corvane/testing/FakeProcessTable.h"
#include "corvane/testing/FakeRunningApplications.h"
#include "corvane/testing/FakeTranslocation.h"
#include "corvane/testing/FakeWorkspace.h"

namespace corvane {

/// A platform of fakes, in force until it is destroyed. The queues remain those of the previous platform, because the
/// library's threads use them, and programs are actually run unless fakeChildProcesses() is called. Set up the fakes
/// before the code under test uses them.
///
///     corvane::FakePlatform fake("/tmp/home");
///     fake.power->announce(corvane::WILL_SLEEP);
class CORVANE_API FakePlatform {
 public:
  /// `home` is the root of the fake folders.
  explicit FakePlatform(std::string home = {});

  /// What the platform's services are, for tests to fill in and to look at.
  const std::shared_ptr<FakePowerEvents> power;
  const std::shared_ptr<FakeFolders> folders;
  const std::shared_ptr<FakeBundles> bundles;
  const std::shared_ptr<FakeWorkspace> workspace;
  const std::shared_ptr<FakeDefaultsStore> defaultsStore;
  const std::shared_ptr<FakeFontBook> fontBook;
  const std::shared_ptr<FakeLoginItems> loginItems;
  const std::shared_ptr<FakeHttpSession> http;
  const std::shared_ptr<FakeProcessTable> processTable;
  const std::shared_ptr<FakeTranslocation> translocation;
  const std::shared_ptr<FakeRunningApplications> runningApplications;
  const std::shared_ptr<FakeDeviceRegistry> deviceRegistry;
  const std::shared_ptr<FakeDiagnosticsPort> diagnosticsPort;
  const std::shared_ptr<FakeDiskService> diskService;
  const std::shared_ptr<FakeAppearance> appearance;
  const std::shared_ptr<FakeAlerts> alerts;
  const std::shared_ptr<FakeDesktopPicture> desktopPicture;
  const std::shared_ptr<FakePowerManager> powerManager;
  const std::shared_ptr<FakeAuthorization> authorization;
  const std::shared_ptr<FakeHelperInstaller> helperInstaller;
  const std::shared_ptr<FakeMessageConnections> messageConnections;
  const std::shared_ptr<FakeMessageListeners> messageListeners;

  /// From now on only the programs that the test defines here exist. Call this before the first one is started.
  FakeChildProcesses& fakeChildProcesses();

 private:
  Platform& m_queues = corvane::platform();  // the previous platform, whose queues threads may still use afterwards
  Platform m_platform;
  std::shared_ptr<FakeChildProcesses> m_childProcesses;
  ScopedPlatform m_scope;
};

}  // namespace corvane
