#pragma once

#include <boost/thread/mutex.hpp>
#include <map>
#include <memory>
#include <vector>

#include "interface/records.h"
#include "servicemux/export.h"
#include "servicemux/guarded.h"

namespace vantor {

class RegistryOwner;
class SectionQueue;
class SimpleTable;
struct InsertionPeriods;
struct TableOnAir;

/// The conditional-access messages of one output: the streams that a scrambler configuration asks for, and what
/// they carry. The operations are those of `serviceMux` and may come from any thread.
///
/// Lock order: the CA lock, then the lock of the live ECMs or that of the live EMMs, then the muxer's stream-list
/// mutex.
class SERVICEMUX_API ConditionalAccess {
 public:
  explicit ConditionalAccess(RegistryOwner* owner);
  ConditionalAccess(const ConditionalAccess&) = delete;
  ConditionalAccess& operator=(const ConditionalAccess&) = delete;
  ~ConditionalAccess();

  void setDRMConfig(const vantor::thrift::general::ScramblerConfig& config);

  void setECM(const vantor::thrift::general::simulCryptData& ecm);
  void setEMM(const vantor::thrift::general::simulCryptData& emm);
  void clearECM();
  void clearEMM();

  void setLiveECM(const vantor::thrift::simulcrypt::ECMItem& ecm);
  void setLiveEMM(const vantor::thrift::simulcrypt::EMMItem& emm);
  void clearLiveECMs();
  void clearLiveEMMs();

  /// Takes over the period of ECMs and the time in which EMMs leave. An ECM that brought a period of its own keeps
  /// it, and so do EMMs that wait already.
  void setPeriods(const InsertionPeriods& wanted);

  /// Removes the streams on the fixed PIDs without a word.
  void dropFixedStreams();

  /// Adds an entry for each message on air.
  void listOnAir(std::vector<TableOnAir>& tables) const;

 private:
  struct LiveEcm {
    std::unique_ptr<SimpleTable> stream;
    bool hasOwnPeriod = false;  // that of a message
  };

  void closeStreams() SERVICEMUX_REQUIRES(caLock);
  void openLiveEcms() SERVICEMUX_REQUIRES(caLock);
  void openLiveEmms() SERVICEMUX_REQUIRES(caLock);

  RegistryOwner* const owner;

  std::unique_ptr<SimpleTable> caEcm SERVICEMUX_GUARDED_BY(caLock);
  std::unique_ptr<SectionQueue> caEmm SERVICEMUX_GUARDED_BY(caLock);
  std::map<unsigned short, LiveEcm> liveEcms SERVICEMUX_GUARDED_BY(caLock);  // by PID
  std::map<unsigned short, std::unique_ptr<SectionQueue>> liveEmms SERVICEMUX_GUARDED_BY(caLock);
  boost::mutex liveEcmLock;  // the live locks only accompany caLock, which guards the maps
  boost::mutex liveEmmLock;

  vantor::thrift::general::ScramblerConfig scramblerConfig SERVICEMUX_GUARDED_BY(caLock);
  mutable boost::mutex caLock SERVICEMUX_ACQUIRED_BEFORE(liveEcmLock, liveEmmLock);
};

}  // namespace vantor
