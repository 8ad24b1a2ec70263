#include "servicemux/front/scrambler.h"

#include <boost/thread/lock_guard.hpp>

#include "interface/host.h"
#include "servicemux/front/serviceMux.h"
#include "servicemux/packetize/pids.h"
#include "servicemux/streams/SectionQueue.h"
#include "servicemux/streams/SimpleTable.h"

namespace vantor {

namespace {

constexpr const char* kName = "setDRMConfig";

}  // namespace

void serviceMux::setDRMConfig(const vantor::thrift::general::ScramblerConfig& config) {
  log_function(HOST_LOG_WARNING, 0, "[%s]", kName);
  const boost::lock_guard<boost::mutex> guard(caLock);
  closeCAStreams();
  scramblerConfig = config;
  if (!config.enabled) return;
  if (config.scrambler_type == kFixedPids) {
    log_function(HOST_LOG_NOTICE, 0, "Vesk DRM ECM PID enabled");
    caEcm = std::make_unique<SimpleTable>(muxer, kCaEcmPid, periods.ecm);
    log_function(HOST_LOG_NOTICE, 0, "Vesk DRM EMM PID enabled");
    caEmm = std::make_unique<SectionQueue>(muxer, kCaEmmPid, 0);  // its rate comes with the first EMMs
  } else if (config.scrambler_type == kSimulcrypt) {
    openLiveEcms();
    openLiveEmms();
  }
}

/// Removes what the configuration in force has made (CA lock held).
void serviceMux::closeCAStreams() {
  if (!scramblerConfig.enabled) return;
  if (scramblerConfig.scrambler_type == kFixedPids) {
    caEcm.reset();
    caEmm.reset();
  } else if (scramblerConfig.scrambler_type == kSimulcrypt) {
    {
      const boost::lock_guard<boost::mutex> liveGuard(liveEcmLock);
      liveEcms.clear();
    }
    const boost::lock_guard<boost::mutex> liveGuard(liveEmmLock);
    liveEmms.clear();
  }
}

/// CA lock held.
void serviceMux::openLiveEcms() {
  const boost::lock_guard<boost::mutex> liveGuard(liveEcmLock);
  liveEcms.clear();
  if (scramblerConfig.ecm_pids.empty()) log_function(HOST_LOG_ERROR, 0, "[%s] Empty ECM PID list!", kName);
  for (const auto& [usid, pids] : scramblerConfig.ecm_pids) {
    log_function(HOST_LOG_WARNING, 0, "[%s] Init ECM insertion for usid[0x%04x]", kName,
                 static_cast<unsigned int>(usid));
    for (const std::int32_t pid : pids) {
      const auto [entry, isNew] = liveEcms.try_emplace(static_cast<unsigned short>(pid));
      if (!isNew) continue;
      log_function(HOST_LOG_WARNING, 0, "[%s] Init ECM insertion for PID[0x%04x]", kName,
                   static_cast<unsigned int>(pid));
      entry->second = std::make_unique<SimpleTable>(muxer, entry->first, periods.ecm);
    }
  }
}

/// CA lock held.
void serviceMux::openLiveEmms() {
  const boost::lock_guard<boost::mutex> liveGuard(liveEmmLock);
  liveEmms.clear();
  if (scramblerConfig.emm_pids.empty()) log_function(HOST_LOG_ERROR, 0, "[%s] Empty EMM PID list!", kName);
  for (const auto& [usid, pids] : scramblerConfig.emm_pids) {
    log_function(HOST_LOG_WARNING, 0, "[%s] Init EMM insertion for usid[0x%04x]", kName,
                 static_cast<unsigned int>(usid));
    for (const std::int32_t pid : pids) {
      const auto [entry, isNew] = liveEmms.try_emplace(static_cast<unsigned short>(pid));
      if (!isNew) continue;
      log_function(HOST_LOG_WARNING, 0, "[%s] Init EMM insertion for PID[0x%04x]", kName,
                   static_cast<unsigned int>(pid));
      entry->second = std::make_unique<SectionQueue>(muxer, entry->first, 0);
    }
  }
}

}  // namespace vantor
