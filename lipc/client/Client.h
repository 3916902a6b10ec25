// SPDX-License-Identifier: BSL-1.0
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
#include "lipc/realtime/BlockExchange.h"
#include "lipc/realtime/timed_posix_sema_waiter.h"
#include "lipc/session/AutoConnection.h"
#include "lipc/util/Export.h"

namespace LIPC {

/// One participant of a session. An application derives from it, configures it, starts it, and from
/// then on the client's auto-connect thread keeps it in the session:
///
///     configured   --startLIPCSession-->            joining
///     joining      --joined with a host-->          connected     an attempt every 100 ms
///     connected    --host gone or restarted, asked to leave, reconfigured, segment or row lost-->
///                                                   joining
///     any          --stopLIPCSession-->             leaving, then configured
///
/// A change of ID, channel counts or connections is never patched into a live session: the
/// outermost configEndEdit makes the client leave and join again. Name and mode are written through
/// at once. A routing is nothing that the session knows of: where it alone changes, nobody rejoins.
///
/// Threads: the configuration, start and stop belong to one application thread; configGetName,
/// configGetMode, configGetClientID, configGetConnectionCount and all queries may come from any.
/// Callbacks run on the auto-connect thread where nothing else is said. An edit from there falls
/// into whatever bracket the application thread has open, and its references are unguarded: only
/// for an application that does not edit meanwhile. stopLIPCSession waits for that thread.
/// onLIPCConnectionEstablished and onLIPCConnectionToBeRemoved run with the client's lock held.
/// What takes it would wait for ever there: configEndEdit, configSetMode, configSetName,
/// syncClientConnections, clearReturnBuffers, stopLIPCSession, and of parameters, strings and the
/// session table all but getOfflineParameter(int).
///
/// Locks, in order: mMutex, the session's registration lock, then mEditMutex or the connection
/// pool's own lock, never both. mMutex is held for a join attempt or a leave at the longest. These
/// wait 2.5 s for a silent host, or 3 s for the registration lock and 1.5 s for the host, and up to
/// a second more for each lock in which another process died.
///
/// Errors: by return value and log. Exceptions cross only where a comment says so. One in a join
/// attempt releases everything, and the next pass tries again; when it is one of
/// onLIPCConnectionEstablished, onLIPCConnectionToBeRemoved comes first. One of the latter there,
/// or in the leave that ends the thread, is logged, and the client is out all the same; any other
/// on the auto-connect thread, from a callback, clears the connected flag and ends the thread. The
/// client is then in the session, without a keep-alive, until stopLIPCSession or the host takes it
/// out.
///
/// @ingroup take_part
class LIPC_API Client {
 public:
  /// `clientType`: a four-character code. `name`: the display name; null reads as empty. The client
  /// gets a random ID, mode 0 and no channels; no session is touched. Throws std::system_error when
  /// no thread can be had.
  Client(int clientType, const char* name);
  Client(const Client&) = delete;
  Client& operator=(const Client&) = delete;

  /// @name What the application overrides
  /// The virtual operations in the order of their slots, which is fixed. Slots 4 and 6 to 12 do
  /// nothing here; 11 and 12 answer false and 0.
  /// @{

  /// Slot 1. Sets the display name and says what became of it: 0 stored; -1 stored with a suffix,
  /// since a row has the name; -2 empty and -3 only blanks: nothing stored; -4 stored, but the
  /// session is not attached. Null reads as empty. While connected the name is written through to
  /// the client's row: 64 bytes, NUL-padded. deliberate: the client's own row counts, so the name
  /// that it has gets a suffix too.
  virtual int configSetName(const char* name);
  /// Slot 2. "No name", for an application without a name of its own. Nothing here calls it.
  virtual std::string configGetDefaultName() const;
  /// Slot 3. Parameters that syncOfflineParameters compares; above 128 counts as 128.
  virtual unsigned getOfflineParameterCount() const;
  /// Slot 4. Parameters that others changed in this client's row, and all 128 as they are now.
  virtual void offlineParameterChanged(std::queue<std::pair<unsigned, float>> changes,
                                       const float* offlineParameters);
  /// Slot 5. Does not stop the thread: the owner, usually the derived class's destructor, calls
  /// stopLIPCSession first.
  virtual ~Client();
  /// Slot 6. At the end of a join. Audio blocks may be under way from just before it.
  virtual void onLIPCConnectionEstablished();
  /// Slot 7. Once per pass, connected or not, for every type but 'VMIX'.
  virtual void onLIPCConnectionTick();
  /// Slot 8. Instead for 'VMIX': with the rows of the clients connected to it; the deque is empty
  /// when none were collected in this pass.
  virtual void onLIPCConnectionTick(const std::deque<ClientEntry>* connectedClients);
  /// Slot 9. First thing in every leave, and when slot 6 threw: slices go after it.
  virtual void onLIPCConnectionToBeRemoved();
  /// Slot 10. By updateDAWvaluesFromShMem, on its thread. Status 1: the session's block; -1 with
  /// null: it is not attached; 0 with null: the client is leaving or out of the session, or an
  /// audio block is under way.
  virtual void updateDAWvaluesCallback(SHM_Panner_DAW_Values* values, int status);
  /// Slot 11. On the audio thread, once per block: whether slot 12 shall be called.
  virtual bool need2updatePreviousRTparamsCallback() LIPC_NONBLOCKING;
  /// Slot 12. On the audio thread: the 172 parameters of the block sent `blocksBack` (1 or 2)
  /// blocks ago, which the host may not have read yet. Not 0 after the first asks for the second.
  virtual int updatePreviousRTparamsCallback(float* parameters, int numSamples,
                                             int blocksBack) LIPC_NONBLOCKING;

  /// @}
  /// @name Configure
  /// The edit block belongs to the application thread; bracket edits. One outside a bracket marks
  /// the configuration changed and is published by the next bracket's end.
  /// @{

  /// Begins an edit from the active configuration. Brackets nest: only the outermost end publishes.
  void configBeginEdit();
  /// The outermost end publishes the edit; a connected client whose edit changed something then
  /// leaves and joins again. An end without a begin does nothing.
  void configEndEdit();
  /// The ID from the outermost end on.
  /// deliberate: compared over the active ID's length, so an ID that begins with the active one
  /// counts as equal and is not taken; but an unset active ID (empty, "Default") equals nothing.
  /// The configured connections come along to the new ID, though not from an unset one. Null reads
  /// as empty. A client whose ID is unset or the name of one of the session's own segments does not
  /// join; that is logged here.
  void configSetClientID(const char* id);
  /// A mode with bit value 8 is stored as exactly 8. Counts that the mode does not allow become 0:
  /// set the mode first, then the counts. While connected the row gets the mode at once; only a
  /// count that changed makes the client rejoin.
  void configSetMode(eClientMode mode);
  /// Counts as far as the mode allows, cut to 16 bits: `inputs` are sent, `outputs` are received.
  /// Another number of outputs puts the routing back to 0, 1, 2, ... True when one changed.
  bool configSetIOChannelCount(int inputs, int outputs);
  /// Routing back to 0, 1, 2, ...; counts from the block after the outermost end, without a rejoin.
  void configResetOutputRouting();
  /// As the session shows it: with the suffix that a join or configSetName gave it. Any thread.
  std::string configGetName() const;
  /// As it was stored, see configSetMode. Any thread.
  eClientMode configGetMode() const;
  /// The active block's ID. Any thread. A join that finds it in use by a living client replaces it
  /// by a random one.
  std::string configGetClientID() const;
  /// The edit block's ID. For the application thread, between configBeginEdit and configEndEdit; a
  /// join attempt that finds the active ID in use may replace it meanwhile. The outermost end
  /// publishes what is written here. Unlike with configSetClientID the connections keep the IDs
  /// that they have, and nothing is logged.
  std::string& configGetEditClientID();
  /// The active block's routing: per output channel the channel of the return ring that it plays,
  /// or -1 for silence. An entry that is written here counts from the next block on, without a
  /// rejoin, and goes into the next edit; write single entries and leave the length to the channel
  /// count. The reference is good until the next configEndEdit, and while not connected only until
  /// a join attempt finds the ID in use and takes another.
  std::vector<std::int32_t>& configGetOutputRouting();

  /// @}
  /// @name Connect
  /// Connections and rules: published when the client joins, restored at every rejoin. At a leave a
  /// connection that the application has not edited since the join is taken over as the session has
  /// it by then, cut or with other wires; an edited one stays as edited. A cut that was taken over
  /// is from then on like one that the application made.
  ///
  /// They belong to the application thread; bracket edits by configBeginEdit and configEndEdit. A
  /// reference is good until its connection is removed: by syncClientConnections, or by a join that
  /// finds this client's ID in use and gives it another. The auto-connect thread reads the list in
  /// a join and a leave, adds what the rules yield in a join, and writes taken-over connections in
  /// a leave: write through references, and walk the list, while connected or stopped, and not
  /// beside a leave.
  /// @{

  /// The connection from `source` to `target`, revived if it was marked disconnected, or a new one
  /// without wires. The caller edits its wires.
  Connection& configEditConnection(const ClientID& source, const ClientID& target);
  /// The first connection that has `target` at either end, revived, or a new one from this client,
  /// under the ID that it has or, while an edit of it is not published yet, will have. An unset
  /// `target` matches none.
  Connection& configEditConnection(const ClientID& target);
  /// Marks the connection as cut by the user; one that was not configured is added, cut.
  /// deliberate: it stays in the list, so that no rule and no synchronisation brings it back.
  void configDisconnect(const ClientID& source, const ClientID& target);
  /// The same for the connection that configEditConnection(const ClientID&) finds or adds.
  void configDisconnect(const ClientID& target);
  /// The matching connection, or Connection::mscNull. A cut one matches too.
  const Connection& configGetConnection(const ClientID& source, const ClientID& target) const;
  /// The same for the first connection that has `target` at either end.
  const Connection& configGetConnection(const ClientID& target) const;
  /// All that are configured, cut ones and those that rules made included. A change through it
  /// makes nobody rejoin; the next join publishes it.
  std::list<Connection>& configGetConnections();
  /// The same to read.
  const std::list<Connection>& configGetConnections() const;
  /// The length of that list. Any thread.
  std::size_t configGetConnectionCount() const;
  /// Appends a copy of the rule, which applies from the next join on: for every client of the type
  /// AutoConnection::firstChannel, or for the host's reference client alone.
  void configAutoConnect(const AutoConnection& rule);
  /// Takes back the rules, not the connections that they made.
  void clearAutoConnect();
  /// Takes over what the session holds of this client's connections: those that others made are
  /// added, those that others cut are erased, each with a line on standard output; those that stand
  /// in both lists stay as they are configured, and so does what is configured as cut: a rule would
  /// bring it back. Nothing rejoins because of it. Nothing happens while not connected. An
  /// exception clears the connected flag and does not pass.
  void syncClientConnections();

  /// @}
  /// @name Take part in a session
  /// @{

  /// Makes `name` different from every row's name, free rows included (deliberate), by appending
  /// " (n)", from `suffix` on; 0 stands for the bare name. Names are compared as rows hold them,
  /// cut to 64 bytes. The bare name stays whole here; before a number it is shortened, so that the
  /// row has both.
  static void makeNameUnique(const SessionBuffer* session, std::string& name, int suffix);

  /// Starts the auto-connect thread, whose first attempt comes after `startDelayMS`; nothing
  /// happens when there is one, also one that an exception ended: stop first. Throws
  /// std::system_error "thread constructor failed".
  void startLIPCSession(int startDelayMS);
  /// Leaves the session and ends the thread; returns when it has ended. Before the start delay has
  /// run out this waits for it. Where an exception ended the thread, it leaves on the caller's.
  void stopLIPCSession();
  /// From just before onLIPCConnectionEstablished to shortly after onLIPCConnectionToBeRemoved; not
  /// after an exception. Any thread, the audio thread included.
  bool isConnected() const { return mConnected; }
  /// The period of the passes while connected, clamped to 100...500 ms; 500 at first. Any thread;
  /// counts from the next pass on.
  void setAutoConnectLoopDurationMS(int ms) { mThread.setLoopDurationMS(ms); }
  /// Result of the last join attempt's version check, kept while the host forbids joins:
  /// eVersionNoHost (0) no host, or a version that cannot be read; eVersionMatches (1);
  /// eVersionHostNewer (2) and eVersionHostOlder (3) than cProtocolVersion; eVersionHost32Bit (4)
  /// of another pointer width than 64. With any but 1 the client does not join and tries again. Any
  /// thread.
  eVersionStatus getVersionStatus() const { return mVersionStatus; }
  /// The client's row, -1 before the first join and after a leave that could not ask the host; 1024
  /// when the row could not be found again. A leave that asked the host keeps it. Any thread.
  int getClientIndex() const { return mClientIndex; }

  /// @}
  /// @name Carry audio
  /// For one audio thread. No lock, no allocation, no wait, but for what a handle in error logs,
  /// and for one line on standard output when a block is announced and the host has left 63 unread
  /// (deliberate, both). A client's blocks are of three samples or more: two that are only one or
  /// two samples apart would be taken for one another, since stamps are compared with a tolerance
  /// of two samples.
  /// @{

  /// Trades one block: publishes the input and the parameters, and hands back the host's answer to
  /// the block of four blocks ago; where there is none, silence. deliberate: `returnParams` get
  /// what stands in that block's slot also while the host has not answered, and zeros where the
  /// block has no slot any more.
  ///
  /// `channelBuffers`: per channel one buffer of `numSamples` floats, read as input, then
  /// overwritten with output. There must be as many as `numChannels` and as the configured outputs,
  /// whichever is more; before an edit raises the outputs the caller has to bring more. Null
  /// entries are sent as silence and not written. `numSamples`: 0 to 1024. `numChannels`: of input;
  /// the smaller of it and the configured inputs is sent. `reserved`: ignored. `timeStamp`: the
  /// block's position in samples; consecutive blocks differ by `numSamples`. `rtParams`,
  /// `returnParams`: up to 172. `waitForReturn`: look up to ten times for a late answer, with a
  /// yield after each.
  ///
  /// - Not connected: nothing is touched.
  /// - Leaving, or a second call or updateDAWvaluesFromShMem at the same time: silence in the
  ///   configured outputs and zeros in `returnParams`.
  /// - A negative count, more than 1024 samples or 172 parameters: refused whole. Nothing is sent,
  ///   nothing announced; silence and zeros as far as the caller's own counts say.
  /// - The configuration counts as it is when the block begins, the channels also as the ring has
  ///   them: after an edit, until the rejoin, only as many as before are traded.
  /// - An exception from a callback ends the block and clears the connected flag; the client leaves
  ///   and joins again, under the same ID. Nothing is thrown or announced. This block's buffers and
  ///   those of the blocks until then stay as they came: the input stands where output belongs.
  ///
  /// deliberate: only a mode with eClientModeOutputs (2) or eClientModeNoAudio (4) announces its
  /// blocks to the host. A client that only sends (eClientModeInputs) therefore adds
  /// eClientModeNoAudio.
  void processLIPC(float** channelBuffers, int numSamples, int numChannels, int reserved,
                   long long timeStamp, const float* rtParams, int numRTParams, float* returnParams,
                   int numReturnParams, bool waitForReturn) noexcept LIPC_NONBLOCKING;
  /// Calls of processLIPC so far, connected or not. Any thread.
  std::uint32_t getProcessCallCount() const { return mProcessCallCount; }

  /// @}
  /// @name Carry audio in pieces
  /// The same in pieces, for clients that fill the rings themselves. Null and no effect while not
  /// connected. A slice is good until the client leaves, which begins with
  /// onLIPCConnectionToBeRemoved; its owner stays off it from then on. `channels` is not used.
  /// `numSamples`: 0 to 1024; it is stored as it is, and readers take no more than 1024.
  /// @{

  /// The "-send" slice for `timeStamp`, found or newly taken, with `sampleCount` and `ready` set.
  SHMSliceBuffer* prepareSendBuffer(long long timeStamp, unsigned short channels,
                                    unsigned numSamples) noexcept LIPC_NONBLOCKING;
  /// The next "-return" slice, stamped, `ready` cleared.
  SHMSliceBuffer* prepareReturnBuffer(long long timeStamp, unsigned short channels,
                                      unsigned numSamples) noexcept LIPC_NONBLOCKING;
  /// Tells the host of the block, in every mode.
  void signalBufferAvailable(long long timeStamp) noexcept LIPC_NONBLOCKING;
  /// The 172 parameters in the "-send" slice of `timeStamp`, or null.
  float* getPreviousRTparams(long long timeStamp) noexcept LIPC_NONBLOCKING;

  /// Zeroes the "-return" ring's parameters and samples, if connected. Takes the client's lock: not
  /// for the audio thread. It does not keep that thread out either: a block that is traded
  /// meanwhile may come back half zeroed.
  void clearReturnBuffers();
  /// Passes the session's panner values to updateDAWvaluesCallback, whose exceptions pass. Until
  /// the callback is over it holds what a block needs: beside the audio thread it costs blocks,
  /// which are silent and not sent. On that thread, between two blocks, it costs none.
  void updateDAWvaluesFromShMem();

  /// @}
  /// @name Publish and follow parameters and strings
  /// Offline parameters (index 0 to 127) and strings (slot 0 to 9). An index outside reads as 0 or
  /// empty and is not written. Before the client is connected, values are kept and published with
  /// the join. Each but getOfflineParameter(int) takes the client's lock. Where the client is
  /// connected and its row, or another's that is to be written, is not there, that is logged.
  ///
  /// The constructor sets 3 to the bits of the integer 1, 4 to 3.0, 5 to the bits of the client's
  /// type, 6 to 1.0 and the rest to 0; a join adds the bit of value 4 to 6.
  /// @{

  /// Into the client's row, if connected, and its own copy; into neither when its row is gone.
  void setOfflineParameter(int index, float value);
  /// This client's own copy: what others changed is in it from the next pass on. Takes no lock.
  float getOfflineParameter(int index) const;
  /// Another client's value as it is now; 0 when it is not there, or this client not connected.
  float getOfflineParameter(const std::string& id, int index) const;
  /// Takes over what others changed in this client's row; returns the changed parameters. The
  /// auto-connect thread calls it once per pass and hands them to offlineParameterChanged; what the
  /// application takes itself is not handed on. Strings are taken over without a report.
  /// deliberate: indexes 8 to 31 are never pulled, and a NaN counts as changed every time.
  std::deque<std::pair<unsigned, float>> syncOfflineParameters();
  /// The text of this client's own slot. Texts of 129 and more characters are cut to 127. Null
  /// reads as empty. The own value too is written under the lock, since a join reads it: beside a
  /// join attempt or a leave this waits.
  void setString(int slot, const char* text);
  /// Writes into the row of the client `id`; cut as by setString. Nothing while not connected. That
  /// client is not told; it sees the text when it looks.
  void setOtherClientString(const std::string& id, int slot, const char* text);
  /// The own row's text; empty while not connected.
  std::string getString(int slot) const;
  /// Another client's text as it is now; empty when it is not there, or this client not connected.
  std::string getString(const std::string& id, int slot) const;

  /// @}
  /// @name Look at the session
  /// Queries of the session table; empty, false or as stated while not connected. They take the
  /// client's lock: not for the audio thread. A predicate may not call back into this client.
  /// @{

  /// Visits all rows in index order, free ones included, until a visit returns false. A visit sees
  /// the row itself, which its client may be writing.
  void scanClientEntries(ClientEntry::Predicate& predicate) const;
  /// Visits one row, free or not; none outside 0 to 1023.
  void scanClientEntryAt(int index, ClientEntry::Predicate& predicate) const;
  /// Copies of the rows of that type. deliberate: 0 is not "all", it yields the free rows among
  /// others; SessionBuffer::getClientEntries says more.
  std::deque<ClientEntry> getClientEntries(int type) const;
  /// False, and `out` as it was, when no row has the ID; null and "" find a free row.
  bool getClientEntryCopy(const char* id, ClientEntry& out) const;
  /// False outside 0 to 1023. A free row is copied too: ClientEntry::isFree tells.
  bool getClientEntryCopy(int index, ClientEntry& out) const;
  /// The rows of the clients to which `id` is connected, in either direction; `type` 0: of every
  /// type. Empty also while the session has no connection pool.
  std::deque<ClientEntry> getConnectedClients(int type, ClientID id) const;
  /// -1 while not connected, 1024 when the ID is absent.
  int getClientIndex(const ClientID& id) const;

  /// @}

 protected:
  /// @name The steps of the auto-connect thread
  /// Not for applications: the thread calls them, with the client's lock held for all but the
  /// first.
  /// @{

  /// The thread's body.
  void autoConnectExec();
  /// One attempt to join. Where it fails everything is released, and the next pass tries again.
  void tryConnectWithoutLock();
  /// Leaves the session and releases what the join attached. An exception of
  /// onLIPCConnectionToBeRemoved passes, before anything is left or released.
  void disconnectWithoutLock();
  /// Releases what a join attached. While an audio call is under way the next pass does it.
  void deleteManagedPtrs();

  /// @}

 private:
  enum class eAttempt { eJoined, eLockBusy, eNotNow };

  void pass();
  void checkSessionWithoutLock(std::deque<ClientEntry>& connectedClients);
  void deliverChanges();
  void waitForNextPass();
  void leaveAtEnd();

  static bool isUsableID(const ClientID& id);
  eAttempt attemptJoin();
  Participant describeSelf();
  void takeNewID();
  std::list<Connection> resolveConnections();
  void markJoinedInParameters();
  void takeUniqueName(const SessionBuffer& session);
  void reportJoinFailure(const char* what);
  void reportHandicap(const std::string& what);

  void openExchange();
  void closeExchange();
  bool isAudioThreadOut();
  void exchangeBlock(const AudioBlock& block, bool waitForReturn) LIPC_NONBLOCKING;
  void amendPreviousParameters(const AudioBlock& block) LIPC_NONBLOCKING;
  void leaveWithoutLock();
  void leaveSession(SessionBuffer& session);
  bool hasRow(const SessionBuffer& session) const;
  void keepConnections(const SessionBuffer& session);
  void takeOver(const Connection& live);
  Connection& editConnection(const ClientID& source, const ClientID& target,
                             std::uint8_t disconnect);
  Connection& editConnection(const ClientID& target, std::uint8_t disconnect);
  Connection& edited(Connection& connection, std::uint8_t disconnect);
  void forgetJoined(const Connection& connection);

  SessionBuffer* sessionOrWarn(const char* operation) const;
  ClientEntry* ownRow(SessionBuffer& session) const;
  void wakeToLeave();

  // Shared state. "lock" is mMutex, "edit lock" is mEditMutex.
  std::atomic<int> mClientIndex{-1};
  const std::uint32_t mClientType;
  std::string mName;  // edit lock
  std::atomic<std::uint32_t> mMode{eClientModeNone};
  ConfigBlocks mConfig;                                   // edit lock, and the audio thread's pin
  float mOfflineParameters[cOfflineParameterCount] = {};  // lock to write; read one by one
  std::array<std::string, cStringSlotCount> mStrings;     // lock
  std::list<Connection> mConnections;                     // edit lock
  std::list<Connection> mJoinedConnections;               // edit lock; as the join published them
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
  std::string mLastJoinFailure;  // auto-connect thread only
  std::string mLastHandicap;     // auto-connect thread only

  // A lock with a count of 0 or 1 between the audio thread, which only tries it, and the leave: 0
  // while there is nothing to exchange. Named by the client's first ID; the name is unlinked as
  // soon as the handle is open, so that a killed client leaves nothing.
  Semaphore mSHMSliceBufferAccessSemaphore;
  SemaphoreHandle mSHMSliceBufferAccessHandle;
  BlockExchange mExchange;  // attached by a join, before it opens the access semaphore
  // Calls of the audio thread that are under way. While there is one, nothing that it may read is
  // released and no join begins, also when a leave did not get the access semaphore.
  std::atomic<int> mAudioCalls{0};
  std::atomic<std::uint32_t> mProcessCallCount{0};
  bool mReleasePending = false;  // lock; a leave is over but for the release
  // lock; nothing is attached but the session's table and its semaphores, which the next attempt
  // finds again: in a crowd of joiners most attempts meet a busy registration lock.
  bool mIsAtDoor = false;
  unsigned mBusyAttempts = 0;  // auto-connect thread only
};

}  // namespace LIPC
