#include "corvane/testing/FakePlatform.h"

#include <utility>

namespace corvane {

FakePlatform::FakePlatform(std::string home)
    : power(std::make_shared<FakePowerEvents>()),
      folders(std::make_shared<FakeFolders>(std::move(home))),
      bundles(std::make_shared<FakeBundles>()),
      workspace(std::make_shared<FakeWorkspace>()),
      defaultsStore(std::make_shared<FakeDefaultsStore>()),
      fontBook(std::make_shared<FakeFontBook>()),
      loginItems(std::make_shared<FakeLoginItems>()),
      http(std::make_shared<FakeHttpSession>()),
      processTable(std::make_shared<FakeProcessTable>()),
      translocation(std::make_shared<FakeTranslocation>()),
      runningApplications(std::make_shared<FakeRunningApplications>()),
      deviceRegistry(std::make_shared<FakeDeviceRegistry>()),
      diagnosticsPort(std::make_shared<FakeDiagnosticsPort>()),
      diskService(std::make_shared<FakeDiskService>()),
      appearance(std::make_shared<FakeAppearance>()),
      alerts(std::make_shared<FakeAlerts>()),
      desktopPicture(std::make_shared<FakeDesktopPicture>()),
      powerManager(std::make_shared<FakePowerManager>()),
      authorization(std::make_shared<FakeAuthorization>()),
      helperInstaller(std::make_shared<FakeHelperInstaller>()),
      messageConnections(std::make_shared<FakeMessageConnections>()),
      messageListeners(std::make_shared<FakeMessageListeners>()),
      m_scope(m_platform) {
  m_platform.mainQueue.set({std::shared_ptr<void>(), &m_queues.mainQueue()});
  m_platform.serialQueues.set({std::shared_ptr<void>(), &m_queues.serialQueues()});
  m_platform.powerEvents.set(power);
  m_platform.folders.set(folders);
  m_platform.bundles.set(bundles);
  m_platform.workspace.set(workspace);
  m_platform.defaultsStore.set(defaultsStore);
  m_platform.fontBook.set(fontBook);
  m_platform.loginItems.set(loginItems);
  m_platform.httpSession.set(http);
  m_platform.processTable.set(processTable);
  m_platform.translocation.set(translocation);
  m_platform.runningApplications.set(runningApplications);
  m_platform.deviceRegistry.set(deviceRegistry);
  m_platform.diagnosticsPort.set(diagnosticsPort);
  m_platform.diskService.set(diskService);
  m_platform.appearance.set(appearance);
  m_platform.alerts.set(alerts);
  m_platform.desktopPicture.set(desktopPicture);
  m_platform.powerManager.set(powerManager);
  m_platform.authorization.set(authorization);
  m_platform.helperInstaller.set(helperInstaller);
  m_platform.messageConnections.set(messageConnections);
  m_platform.messageListeners.set(messageListeners);
}

FakeChildProcesses& FakePlatform::fakeChildProcesses() {
  if (!m_childProcesses) m_platform.childProcesses.set(m_childProcesses = std::make_shared<FakeChildProcesses>());
  return *m_childProcesses;
}

}  // namespace corvane
