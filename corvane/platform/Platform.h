#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

#include "corvane/platform/Alerts.h"
#include "corvane/platform/Appearance.h"
#include "corvane/platform/Authorization.h"
#include "corvane/platform/Bundles.h"
#include "corvane/platform/ChildProcesses.h"
#include "corvane/platform/DefaultsStore.h"
#include "corvane/platform/DesktopPicture.h"
#include "corvane/platform/DeviceRegistry.h"
#include "corvane/platform/DiagnosticsPort.h"
#include "corvane/platform/DiskService.h"
#include "corvane/platform/DisplayServer.h"
#include "corvane/platform/Export.h"
#include "corvane/platform/Folders.h"
#include "corvane/platform/FontBook.h"
#include "corvane/platform/HelperInstaller.h"
#include "corvane/platform/HttpSession.h"
#include "corvane/platform/Localization.h"
#include "corvane/platform/LoginItems.h"
#include "corvane/platform/MainQueue.h"
#include "corvane/platform/MessageConnections.h"
#include "corvane/platform/MessageListeners.h"
#include "corvane/platform/PowerEvents.h"
#include "corvane/platform/PowerManager.h"
#include "corvane/platform/ProcessTable.h"
#include "corvane/platform/RunningApplications.h"
#include "corvane/platform/SerialQueues.h"
#include "corvane/platform/Translocation.h"
#include "corvane/platform/Workspace.h"

namespace corvane {

/// One service of a platform: created on first use, so that a program pays only for what it uses. The backend's
/// implementation is in the library of the subsystem that uses the service (see makeService), so a program that links
/// only the core contains nothing of the rest.
template <class Service>
class ServiceSlot {
 public:
  ServiceSlot() = default;
  ServiceSlot(const ServiceSlot&) = delete;
  ServiceSlot& operator=(const ServiceSlot&) = delete;

  /// The service. Any thread. The reference is valid for as long as the Platform.
  Service& operator()() {
    if (Service* service = m_service.load(std::memory_order_acquire)) return *service;
    std::call_once(m_once, [this] {
      if (!m_owner) m_owner = makeService<Service>();
      m_service.store(m_owner.get(), std::memory_order_release);
    });
    return *m_service.load(std::memory_order_acquire);
  }

  /// Sets another implementation. Call this before the service is used.
  void set(std::shared_ptr<Service> service) { m_owner = std::move(service); }

 private:
  std::shared_ptr<Service> m_owner;
  std::atomic<Service*> m_service = nullptr;
  std::once_flag m_once;
};

/// Everything that the library asks of the operating system beyond POSIX. Shared code uses it through platform() only;
/// the build selects the backend.
struct Platform {
  /// Distinguishes platforms, even successive ones at the same address: cached data about a platform is valid while
  /// platform().serial stays the same.
  const std::uint64_t serial = nextSerial();

  /// Each of these is described with its class.
  ServiceSlot<MainQueue> mainQueue;
  ServiceSlot<SerialQueues> serialQueues;
  ServiceSlot<PowerEvents> powerEvents;
  ServiceSlot<Folders> folders;
  ServiceSlot<Bundles> bundles;
  ServiceSlot<Workspace> workspace;
  ServiceSlot<Localization> localization;
  ServiceSlot<DefaultsStore> defaultsStore;
  ServiceSlot<FontBook> fontBook;
  ServiceSlot<LoginItems> loginItems;
  ServiceSlot<HttpSession> httpSession;
  ServiceSlot<ProcessTable> processTable;
  ServiceSlot<ChildProcesses> childProcesses;
  ServiceSlot<Translocation> translocation;
  ServiceSlot<RunningApplications> runningApplications;
  ServiceSlot<DeviceRegistry> deviceRegistry;
  ServiceSlot<DiskService> diskService;
  ServiceSlot<DisplayServer> displayServer;
  ServiceSlot<Appearance> appearance;
  ServiceSlot<Alerts> alerts;
  ServiceSlot<DesktopPicture> desktopPicture;
  ServiceSlot<PowerManager> powerManager;
  ServiceSlot<Authorization> authorization;
  ServiceSlot<HelperInstaller> helperInstaller;
  ServiceSlot<MessageConnections> messageConnections;
  ServiceSlot<MessageListeners> messageListeners;
  ServiceSlot<DiagnosticsPort> diagnosticsPort;

 private:
  CORVANE_API static std::uint64_t nextSerial();
};

/// The platform in force. The default one is created on first use and never destroyed, so that code that runs while the
/// process exits can still use it. Any thread.
CORVANE_API Platform& platform();

/// Puts another platform in force until the end of the scope: for tests, from one thread, while no thread of the
/// library is using the platform that it replaces. Scopes nest.
class CORVANE_API ScopedPlatform {
 public:
  /// The replacement must outlive this object.
  explicit ScopedPlatform(Platform& replacement);
  ~ScopedPlatform();
  ScopedPlatform(const ScopedPlatform&) = delete;
  ScopedPlatform& operator=(const ScopedPlatform&) = delete;

 private:
  Platform* m_previous;
};

}  // namespace corvane
