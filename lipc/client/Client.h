#pragma once

#include <array>
#include <atomic>
#include <deque>
#include <list>
#include <mutex>
#include <queue>
#include <string>
#include <utility>

#include "lipc/client/AutoConnectThread.h"
#include "lipc/client/ConfigBlocks.h"
#include "lipc/client/HeartbeatWatch.h"
#include "lipc/client/Join.h"
#include "lipc/client/SessionAttachment.h"
#include "lipc/realtime/timed_posix_sema_waiter.h"
#include "lipc/session/AutoConnection.h"

namespace LIPC {

class PublishedConnections;

/// One participant of a session. An application derives from it, configures it, starts it, and from
/// then on the client's auto-connect thread keeps it in the session:
///
///   configured   --startLIPCSession-->            joining
///   joining      --joined with a host-->          connected     an attempt every 100 ms
///   connected    --host gone or restarted, asked to leave, reconfigured, segment lost--> joining
///   any          --stopLIPCSession-->             leaving, then configured
///
/// A change of ID, channel counts or routing is never patched into a live session: the outermost
/// configEndEdit makes the client leave and join again. Name and mode are written through at once.
///
/// Threads: the configuration's setters, start and stop belong to one application thread; queries
/// may come from any. Callbacks run on the auto-connect thread. onLIPCConnectionEstablished and
/// onLIPCConnectionToBeRemoved run with the client's lock held: from there nothing of this class
/// may be called but isConnected, getOfflineParameter(int), configBeginEdit, configGet... and the
/// edit setters other than configSetMode and configSetName.
///
/// Locks, in order: mMutex, the session's registration lock, then mEditMutex or the connection
/// pool's own lock, never both. mMutex is held for a join attempt or a leave at the longest. These
/// wait 2.5 s for a silent host, or 3 s for the registration lock and 1.5 s for the host, and up to
/// a second more for each lock in which another process died.
///
/// Errors: by return value and log. Exceptions cross only where a comment says so. One in a join
/// attempt (onLIPCConnectionEstablished included) releases everything, and the next pass tries
/// again; one in the leave that ends the thread is swallowed after everything was released; any
/// other on the auto-connect thread, from a callback, clears the connected flag and ends the
/// thread.
class Client {
 public:
  /// `clientType`: a four-character code. `name`: the display name; null reads as empty. The client
  /// gets a random ID; no session is touched. Throws std::system_error when no thread can be had.
  Client(int clientType, const char* name);
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  // Virtual operations in the order of their slots, which is fixed.

  /// Slot 1. 0 stored; -1 stored with a suffix, since another row has the name; -2 empty and -3
  /// only blanks: nothing stored; -4 stored, but the session is not attached. Null reads as empty.
  /// While connected the name is written through to the client's row: 64 bytes, NUL-padded.
  virtual int configSetName(const char* name);
  virtual std::string configGetDefaultName() const;  // slot 2
  /// Slot 3. Parameters that syncOfflineParameters compares; above 128 counts as 128.
  virtual unsigned getOfflineParameterCount() const;
  /// Slot 4. Parameters that others changed in this client's row, and all 128 as they are now.
  virtual void offlineParameterChanged(std::queue<std::pair<unsigned, float>> changes,
                                       const float* offlineParameters);
  /// Slot 5. Does not stop the thread: the owner, usually the derived class's destructor, calls
  /// stopLIPCSession first.
  virtual ~Client();
  virtual void onLIPCConnectionEstablished();  // slot 6
  /// Slot 7. Once per pass, connected or not, for every type but 'VMIX'.
  virtual void onLIPCConnectionTick();
  /// Slot 8. Instead for 'VMIX': with the rows of the clients connected to it; the deque is empty
  /// when none were collected in this pass.
  virtual void onLIPCConnectionTick(const std::deque<ClientEntry>* connectedClients);
  virtual void onLIPCConnectionToBeRemoved();                                       // slot 9
  virtual void updateDAWvaluesCallback(SHM_Panner_DAW_Values* values, int status);  // slot 10
  virtual bool need2updatePreviousRTparamsCallback();                               // slot 11
  virtual int updatePreviousRTparamsCallback(float* parameters, int numSamples,
                                             int blocksBack);  // slot 12

  // Configuration. The edit block belongs to the application thread; bracket edits.

  void configBeginEdit();
  /// The outermost end publishes the edit; a connected client whose edit changed something then
  /// leaves and joins again. An end without a begin does nothing.
  void configEndEdit();
  /// deliberate: compared over the active ID's length, so an ID that begins with the active one
  /// counts as equal and is not taken. Null reads as empty. A client whose ID is empty, "Default"
  /// or the name of one of the session's own segments does not join; that is logged here.
  void configSetClientID(const char* id);
  /// A mode with bit value 8 is stored as exactly 8. Counts that the mode does not allow become 0.
  void configSetMode(eClientMode mode);
  /// Counts as far as the mode allows, cut to 16 bits. True when one changed.
  bool configSetIOChannelCount(int inputs, int outputs);
  /// Routing back to 0, 1, 2, ...
  void configResetOutputRouting();
  std::string configGetName() const;
  eClientMode configGetMode() const;
  /// The active block's ID.
  std::string configGetClientID() const;
  /// The edit block's ID, for the application thread.
  std::string& configGetEditClientID();
  /// The active block's routing; changed through an edit it would race with the exchange.
  std::vector<std::int32_t>& configGetOutputRouting();
  std::size_t configGetConnectionCount() const;
  /// The configured connection between these two, revived if it was marked disconnected, or a new
  /// one without wires. For the application thread, inside an edit bracket. The reference is good
  /// until the connection is removed: by the application, or by a join that finds this client's ID
  /// in use and gives it another.
  Connection& configEditConnection(const ClientID& source, const ClientID& target);

  /// Makes `name` different from every row's name, free rows included (deliberate), by appending
  /// " (n)", from `suffix` on; 0 stands for the bare name.
  static void makeNameUnique(const SessionBuffer* session, std::string& name, int suffix);

  // The session's life.

  /// Starts the auto-connect thread, whose first attempt comes after `startDelayMS`; nothing
  /// happens when it runs. Throws std::system_error "thread constructor failed".
  void startLIPCSession(int startDelayMS);
  /// Leaves the session and ends the thread; returns when it has ended. Before the start delay has
  /// run out this waits for it.
  void stopLIPCSession();
  bool isConnected() const { return mConnected; }
  /// The loop's period, clamped to 100...500 ms.
  void setAutoConnectLoopDurationMS(int ms) { mThread.setLoopDurationMS(ms); }
  /// Result of the last join attempt's version check.
  eVersionStatus getVersionStatus() const { return mVersionStatus; }
  /// The client's row, -1 before the first join and after a leave that the host did not see; 1024
  /// when the row could not be found again.
  int getClientIndex() const { return mClientIndex; }

  // Offline parameters (index 0 to 127) and strings (slot 0 to 9). An index outside reads as 0 or
  // empty and is not written. Before the client is connected, values are kept and published with
  // the join. Each but getOfflineParameter(int) takes the client's lock.

  void setOfflineParameter(int index, float value);
  /// This client's own value; takes no lock.
  float getOfflineParameter(int index) const;
  /// Another client's value; 0 when it is not there.
  float getOfflineParameter(const std::string& id, int index) const;
  /// Takes over what others changed in this client's row; returns the changed parameters.
  /// deliberate: indexes 8 to 31 are never pulled, and a NaN counts as changed every time.
  std::deque<std::pair<unsigned, float>> syncOfflineParameters();
  /// Texts of 129 and more characters are cut to 127. Null reads as empty.
  void setString(int slot, const char* text);
  void setOtherClientString(const std::string& id, int slot, const char* text);
  /// The own row's text; empty while not connected.
  std::string getString(int slot) const;
  std::string getString(const std::string& id, int slot) const;

  // Queries of the session table; empty, false or as stated while not connected. A predicate may
  // not call back into this client.

  void scanClientEntries(ClientEntry::Predicate& predicate) const;
  void scanClientEntryAt(int index, ClientEntry::Predicate& predicate) const;
  std::deque<ClientEntry> getClientEntries(int type) const;
  bool getClientEntryCopy(const char* id, ClientEntry& out) const;
  bool getClientEntryCopy(int index, ClientEntry& out) const;
  /// Empty also while the session has no connection pool.
  std::deque<ClientEntry> getConnectedClients(int type, ClientID id) const;
  /// -1 while not connected, 1024 when the ID is absent.
  int getClientIndex(const ClientID& id) const;

 protected:
  // The auto-connect thread and what it does, with mMutex held where the name says so.
  void autoConnectExec();
  void tryConnectWithoutLock();
  void disconnectWithoutLock();
  void deleteManagedPtrs();

 private:
  enum class Attempt { eJoined, eNotNow };

  void pass();
  void checkSessionWithoutLock(std::deque<ClientEntry>& connectedClients);
  void deliverChanges();
  void waitForNextPass();
  void leaveAtEnd();

  static bool isUsableID(const ClientID& id);
  Attempt attemptJoin();
  Participant describeSelf();
  void takeNewID();
  std::list<Connection> resolveConnections();
  void markJoinedInParameters();
  void takeUniqueName(const SessionBuffer& session);
  void reportJoinFailure(const char* what);

  void closeExchange();
  void leaveSession(SessionBuffer& session);
  bool hasRow(const SessionBuffer& session) const;
  void keepConnections(const SessionBuffer& session);

  SessionBuffer* sessionOrWarn(const char* operation) const;
  ClientEntry* ownRow(SessionBuffer& session) const;
  void wakeToLeave();

  // Shared state. "lock" is mMutex, "edit lock" is mEditMutex.
  std::atomic<int> mClientIndex{-1};
  const std::uint32_t mClientType;
  std::string mName;  // edit lock
  std::atomic<std::uint32_t> mMode{eClientModeNone};
  ConfigBlocks mConfig;                                   // edit lock
  float mOfflineParameters[cOfflineParameterCount] = {};  // lock to write; read one by one
  std::array<std::string, cStringSlotCount> mStrings;     // lock
  std::list<Connection> mConnections;                     // edit lock
  std::list<AutoConnection> mAutoConnections;             // edit lock
  SessionAttachment mAttachment;                          // lock
  timed_posix_sema_waiter mSemaWaiter;
  std::atomic<bool> mConnected{false};
  bool mLeaveRequested = false;  // lock; a stop or a changed configuration wants a leave
  mutable std::mutex mMutex;
  mutable std::mutex mEditMutex;
  std::string mConnectID;  // lock; ID of the last join attempt
  AutoConnectThread mThread;
  HeartbeatWatch mHeartbeat;  // auto-connect thread only
  std::atomic<eVersionStatus> mVersionStatus{eVersionNoHost};
  std::string mReplacedID;  // edit lock; ID that an open edit replaces since another client has it
  std::string mLastJoinFailure;  // auto-connect thread only

  // A lock with a count of 0 or 1 between the audio thread, which only tries it, and the leave: 0
  // while there is nothing to exchange. Named by the client's first ID; the name is unlinked as
  // soon as the handle is open, so that a killed client leaves nothing.
  Semaphore mSHMSliceBufferAccessSemaphore;
  SemaphoreHandle mSHMSliceBufferAccessHandle;
};

}  // namespace LIPC
