#include "servicemux/access/ConditionalAccess.h"

#include <boost/thread/lock_guard.hpp>
#include <boost/thread/lock_types.hpp>
#include <boost/thread/locks.hpp>

#include "interface/host.h"
#include "interface/psi/packet.h"
#include "interface/psi/pids.h"
#include "servicemux/muxer/classicRates.h"
#include "servicemux/output/RegistryOwner.h"
#include "servicemux/output/TableOnAir.h"
#include "servicemux/packetize/packetize.h"
#include "servicemux/streams/SectionQueue.h"
#include "servicemux/streams/SimpleTable.h"

namespace vantor {

namespace {

using vantor::thrift::general::CaFormat;
using vantor::thrift::general::ScramblerType;
using vantor::thrift::general::simulCryptData;
using vantor::thrift::simulcrypt::ECMItem;
using vantor::thrift::simulcrypt::EMMItem;

constexpr const char* kSetDRMConfig = "setDRMConfig";

constexpr unsigned int kDefaultEcmPeriod = 250;  // ms

bool areWholePackets(const std::string& data) { return data.size() % kPacketSize == 0; }

unsigned int sizeOf(const std::string& data) { return static_cast<unsigned int>(data.size()); }

unsigned short pidOf(std::int32_t field) { return static_cast<unsigned short>(field); }

/// Two mutexes, taken together.
class SERVICEMUX_SCOPED_LOCK BothLocks {
 public:
  BothLocks(boost::mutex& first, boost::mutex& second) SERVICEMUX_ACQUIRE(first, second)
      : first(first, boost::defer_lock), second(second, boost::defer_lock) {
    boost::lock(this->first, this->second);
  }
  BothLocks(const BothLocks&) = delete;
  BothLocks& operator=(const BothLocks&) = delete;
  ~BothLocks() SERVICEMUX_RELEASE() = default;

 private:
  boost::unique_lock<boost::mutex> first;
  boost::unique_lock<boost::mutex> second;
};

/// Queues a set of EMMs at the rate that sends all of it within `spreading` ms.
void queueEmms(SectionQueue& stream, const std::string& packets, unsigned int spreading) {
  if (packets.empty()) return;
  stream.queue_section(packets, classic::emmRate(packets.size(), spreading));
}

}  // namespace

ConditionalAccess::ConditionalAccess(RegistryOwner* owner) : owner(owner) {}

ConditionalAccess::~ConditionalAccess() = default;

// --- Configuration ----------------------------------------------------------------------------------------------

void ConditionalAccess::setDRMConfig(const vantor::thrift::general::ScramblerConfig& config) {
  log_function(HOST_LOG_WARNING, 0, "[%s]", kSetDRMConfig);
  const boost::lock_guard<boost::mutex> guard(caLock);
  closeStreams();
  scramblerConfig = config;
  if (!config.enabled) return;
  if (config.scrambler_type == ScramblerType::FIXED_PIDS) {
    log_function(HOST_LOG_NOTICE, 0, "Vesk DRM ECM PID enabled");
    caEcm = std::make_unique<SimpleTable>(owner->outputMuxer(), kCaEcmPid, owner->insertionPeriods().ecm);
    log_function(HOST_LOG_NOTICE, 0, "Vesk DRM EMM PID enabled");
    caEmm =
        std::make_unique<SectionQueue>(owner->outputMuxer(), kCaEmmPid, 0);  // its rate comes with the first EMMs
  } else if (config.scrambler_type == ScramblerType::SIMULCRYPT) {
    openLiveEcms();
    openLiveEmms();
  }
}

/// Removes what the configuration in force has made.
void ConditionalAccess::closeStreams() {
  if (!scramblerConfig.enabled) return;
  if (scramblerConfig.scrambler_type == ScramblerType::FIXED_PIDS) {
    caEcm.reset();
    caEmm.reset();
  } else if (scramblerConfig.scrambler_type == ScramblerType::SIMULCRYPT) {
    {
      const boost::lock_guard<boost::mutex> liveGuard(liveEcmLock);
      liveEcms.clear();
    }
    const boost::lock_guard<boost::mutex> liveGuard(liveEmmLock);
    liveEmms.clear();
  }
}

void ConditionalAccess::openLiveEcms() {
  const boost::lock_guard<boost::mutex> liveGuard(liveEcmLock);
  liveEcms.clear();
  if (scramblerConfig.ecm_pids.empty()) log_function(HOST_LOG_ERROR, 0, "[%s] Empty ECM PID list!", kSetDRMConfig);
  for (const auto& [usid, pids] : scramblerConfig.ecm_pids) {
    log_function(HOST_LOG_WARNING, 0, "[%s] Init ECM insertion for usid[0x%04x]", kSetDRMConfig,
                 static_cast<unsigned int>(usid));
    for (const std::int32_t pid : pids) {
      const auto [entry, isNew] = liveEcms.try_emplace(static_cast<unsigned short>(pid));
      if (!isNew) continue;
      log_function(HOST_LOG_WARNING, 0, "[%s] Init ECM insertion for PID[0x%04x]", kSetDRMConfig,
                   static_cast<unsigned int>(pid));
      entry->second =
          std::make_unique<SimpleTable>(owner->outputMuxer(), entry->first, owner->insertionPeriods().ecm);
    }
  }
}

void ConditionalAccess::openLiveEmms() {
  const boost::lock_guard<boost::mutex> liveGuard(liveEmmLock);
  liveEmms.clear();
  if (scramblerConfig.emm_pids.empty()) log_function(HOST_LOG_ERROR, 0, "[%s] Empty EMM PID list!", kSetDRMConfig);
  for (const auto& [usid, pids] : scramblerConfig.emm_pids) {
    log_function(HOST_LOG_WARNING, 0, "[%s] Init EMM insertion for usid[0x%04x]", kSetDRMConfig,
                 static_cast<unsigned int>(usid));
    for (const std::int32_t pid : pids) {
      const auto [entry, isNew] = liveEmms.try_emplace(static_cast<unsigned short>(pid));
      if (!isNew) continue;
      log_function(HOST_LOG_WARNING, 0, "[%s] Init EMM insertion for PID[0x%04x]", kSetDRMConfig,
                   static_cast<unsigned int>(pid));
      entry->second = std::make_unique<SectionQueue>(owner->outputMuxer(), entry->first, 0);
    }
  }
}

// --- Messages on the fixed PIDs ---------------------------------------------------------------------------------

void ConditionalAccess::clearECM() {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "clearECM");
  const boost::lock_guard<boost::mutex> guard(caLock);
  if (!caEcm) return;
  log_function(HOST_LOG_WARNING, 0, "Vesk DRM ECM PID disabled");
  caEcm.reset();
}

void ConditionalAccess::clearEMM() {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "clearEMM");
  const boost::lock_guard<boost::mutex> guard(caLock);
  if (!caEmm) return;
  log_function(HOST_LOG_WARNING, 0, "Vesk DRM EMM PID disabled");
  caEmm.reset();
}

void ConditionalAccess::setECM(const simulCryptData& ecm) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "setECM");
  const boost::lock_guard<boost::mutex> guard(caLock);
  if (ecm.data.empty() || !caEcm) return;
  std::string packets;
  switch (ecm.format) {
    case CaFormat::SECTIONS:
      packetizeBytes(kCaEcmPid, 0, packets, ecm.data);
      break;
    case CaFormat::PACKETS:
      if (!areWholePackets(ecm.data)) {
        log_function(HOST_LOG_ERROR, 0, "Vesk ECM in TS packet format cannot have a size of %u", sizeOf(ecm.data));
        return;
      }
      log_function(HOST_LOG_INFO, 0, "Vesk ECM in TS format");
      packets = ecm.data;
      break;
    default:
      log_function(HOST_LOG_ERROR, 0, "Vesk ECM format %u not supported", static_cast<unsigned int>(ecm.format));
      return;
  }
  caEcm->new_packetized_table(packets);
}

void ConditionalAccess::setEMM(const simulCryptData& emm) {
  log_function(HOST_LOG_DEBUG, 0, "[%s]", "setEMM");
  const boost::lock_guard<boost::mutex> guard(caLock);
  if (scramblerConfig.scrambler_type != ScramblerType::FIXED_PIDS || !caEmm) return;
  std::string packets;
  switch (emm.format) {
    case CaFormat::SECTIONS:
      packetizeBytes(kCaEmmPid, 0, packets, emm.data);
      break;
    case CaFormat::PACKETS:
      if (!areWholePackets(emm.data)) {
        log_function(HOST_LOG_ERROR, 0, "Vesk EMM in TS packet format cannot have a size of %u", sizeOf(emm.data));
        return;
      }
      packets = emm.data;
      break;
    default:
      log_function(HOST_LOG_ERROR, 0, "Vesk EMM format %u not supported", static_cast<unsigned int>(emm.format));
      return;
  }
  queueEmms(*caEmm, packets, owner->insertionPeriods().emmSpreading);
}

// --- Messages on the configured PIDs ----------------------------------------------------------------------------

void ConditionalAccess::setLiveECM(const ECMItem& ecm) {
  constexpr const char* kName = "setLiveECM";
  log_function(HOST_LOG_DEBUG, 0, "[%s]", kName);
  const boost::lock_guard<boost::mutex> guard(caLock);
  if (ecm.data.empty()) {
    log_function(HOST_LOG_WARNING, 0, "[%s] ECM stop received for PID[0x%04x]!", kName,
                 static_cast<unsigned int>(ecm.pid));
    return;
  }
  if (scramblerConfig.scrambler_type != ScramblerType::SIMULCRYPT) return;
  const boost::lock_guard<boost::mutex> liveGuard(liveEcmLock);
  const auto found = liveEcms.find(pidOf(ecm.pid));
  if (found == liveEcms.end()) {
    log_function(HOST_LOG_ERROR, 0, "[%s] ECM PID not found [0x%04x]!", kName, static_cast<unsigned int>(ecm.pid));
    return;
  }
  const auto& [pid, stream] = *found;
  if (!stream) return;  // setDRMConfig could not make it
  std::string packets;
  switch (ecm.format) {
    case CaFormat::SECTIONS:
      packetizeBytes(pid, 0, packets, ecm.data);
      break;
    case CaFormat::PACKETS:
      if (!areWholePackets(ecm.data)) {
        log_function(HOST_LOG_ERROR, 0, "[%s] ECM in TS packet format cannot have a size of %u", kName,
                     sizeOf(ecm.data));
        return;
      }
      pidifyTSPackets(pid, packets, ecm.data);
      stream->SetPeriod(ecm.period != 0 ? static_cast<unsigned int>(ecm.period) : kDefaultEcmPeriod);
      break;
    default:
      // The message speaks of an EMM. Kept for compatibility.
      log_function(HOST_LOG_ERROR, 0, "[%s] EMM format [%u] not supported", kName,
                   static_cast<unsigned int>(ecm.format));
      return;
  }
  stream->new_packetized_table(packets);
}

void ConditionalAccess::setLiveEMM(const EMMItem& emm) {
  constexpr const char* kName = "setLiveEMM";
  log_function(HOST_LOG_DEBUG, 0, "[%s]", kName);
  const boost::lock_guard<boost::mutex> guard(caLock);
  if (emm.data.empty()) {
    log_function(HOST_LOG_WARNING, 0, "[%s] empty EMM received!", kName);
    return;
  }
  if (scramblerConfig.scrambler_type != ScramblerType::SIMULCRYPT) return;
  const boost::lock_guard<boost::mutex> liveGuard(liveEmmLock);
  const auto found = liveEmms.find(pidOf(emm.pid));
  if (found == liveEmms.end()) {
    log_function(HOST_LOG_ERROR, 0, "[%s] EMM PID not found [0x%04x]!", kName, static_cast<unsigned int>(emm.pid));
    return;
  }
  const auto& [pid, stream] = *found;
  if (!stream) return;  // setDRMConfig could not make it
  std::string packets;
  switch (emm.format) {
    case CaFormat::SECTIONS:
      packetizeBytes(pid, 0, packets, emm.data);
      break;
    case CaFormat::PACKETS:
      if (!areWholePackets(emm.data)) {
        log_function(HOST_LOG_ERROR, 0, "[%s] EMM in TS packet format cannot have a size of %u", kName,
                     sizeOf(emm.data));
        return;
      }
      pidifyTSPackets(pid, packets, emm.data);
      break;
    default:
      log_function(HOST_LOG_ERROR, 0, "[%s] EMM format [%u] not supported", kName,
                   static_cast<unsigned int>(emm.format));
      return;
  }
  queueEmms(*stream, packets, owner->insertionPeriods().emmSpreading);
}

// Both take the lock of the live EMMs. For the ECMs that is kept for compatibility: what guards their streams here
// is the CA lock, which everyone holds who uses them.

void ConditionalAccess::clearLiveECMs() {
  log_function(HOST_LOG_WARNING, 0, "[%s]", "clearLiveECMs");
  const BothLocks guard(caLock, liveEmmLock);
  liveEcms.clear();
}

void ConditionalAccess::clearLiveEMMs() {
  log_function(HOST_LOG_WARNING, 0, "[%s]", "clearLiveEMMs");
  const BothLocks guard(caLock, liveEmmLock);
  liveEmms.clear();
}

void ConditionalAccess::dropFixedStreams() {
  const boost::lock_guard<boost::mutex> guard(caLock);
  caEcm.reset();
  caEmm.reset();
}

void ConditionalAccess::listOnAir(std::vector<TableOnAir>& tables) const {
  const boost::lock_guard<boost::mutex> guard(caLock);
  const auto addEcm = [&tables](unsigned short pid, SimpleTable& stream) {
    const StreamedTable sent = stream.onAir();
    if (sent.facts.packets != 0) tables.emplace_back(psi::kEcm.name, pid, sent);
  };
  const auto addEmm = [&tables](unsigned short pid, SectionQueue& stream) {
    const StreamedTable sent{0, {}, stream.sendings()};  // what an EMM says is gone when it is sent
    if (sent.repetition.count() != 0) tables.emplace_back(psi::kEmm.name, pid, sent);
  };
  if (caEcm) addEcm(kCaEcmPid, *caEcm);
  if (caEmm) addEmm(kCaEmmPid, *caEmm);
  for (const auto& [pid, stream] : liveEcms)
    if (stream) addEcm(pid, *stream);
  for (const auto& [pid, stream] : liveEmms)
    if (stream) addEmm(pid, *stream);
}

}  // namespace vantor
