#pragma once

#include <boost/thread/mutex.hpp>
#include <map>
#include <memory>
#include <vector>

#include "interface/records.h"

namespace vantor {

class RegistryOwner;
class SectionQueue;
class SimpleTable;
struct TableOnAir;

/// The conditional-access messages of one output: the streams that a scrambler configuration asks for, and what
/// they carry. The operations are those of `serviceMux` and may come from any thread.
///
/// Lock order: the CA lock, then the lock of the live ECMs or that of the live EMMs, then the muxer's stream-list
/// mutex.
class ConditionalAccess {
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

  /// Removes the streams on the fixed PIDs without a word.
  void dropFixedStreams();

  /// Adds an entry for each message on air.
  void listOnAir(std::vector<TableOnAir>& tables) const;

 private:
  void closeStreams();
  void openLiveEcms();
  void openLiveEmms();

  RegistryOwner* const owner;

  // Guarded by caLock; the maps by their own lock too.
  std::unique_ptr<SimpleTable> caEcm;
  std::unique_ptr<SectionQueue> caEmm;
  std::map<unsigned short, std::unique_ptr<SimpleTable>> liveEcms;  // by PID
  std::map<unsigned short, std::unique_ptr<SectionQueue>> liveEmms;
  boost::mutex liveEcmLock;
  boost::mutex liveEmmLock;

  // Guarded by caLock.
  vantor::thrift::general::ScramblerConfig scramblerConfig;
  mutable boost::mutex caLock;  // before the live locks
};

}  // namespace vantor
