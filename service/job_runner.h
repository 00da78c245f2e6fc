// SPDX-License-Identifier: MIT
// Runs the agent's calls one at a time, keeps on disk which one, and takes up again what broke off.
#ifndef SERVICE_JOB_RUNNER_H
#define SERVICE_JOB_RUNNER_H

#include "service/bus/bus_calls.h"
#include "service/call_observer.h"
#include "service/event_log.h"
#include "service/host_process.h"
#include "service/node_timers.h"
#include "service/request_book.h"
#include "service/state/agent_memory_text.h"
#include "service/state/explain.h"
#include "service/state/resume.h"
#include "service/state/tickets_told.h"
#include "service/status_board.h"

#include "node/config.h"

#include <chrono>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace service {

/* What the job runner works with; all of it outlives the job runner. */
struct Dependencies {
    sd_event *loop;
    const node::Config &config;
    const std::string &bootId;
    RequestBook &book;
    EventLog &eventLog;
    StatusBoard &board;
    BusService &bus;
    NodeTimers &timers;
    std::chrono::milliseconds rebootPatience;
};

/*
 * A request goes queue -> running -> (standing, while timers or a reboot are awaited) -> finished.
 * The ledger is on disk before each step takes effect outside, so that a start at any moment finds
 * what to do: begin the queue, do the broken call again, or wait on.
 */
class JobRunner {
  public:
    using Answer = BusCalls::Answer;

    struct Callbacks {
        std::function<void(const cJSON &message)> hostMessage;
        std::function<void()> nodeKnown; // the host told the node's MAC address
    };

    JobRunner(const Dependencies &deps, HostProgram program, Callbacks callbacks);

    /* The ledger is begun anew: tickets go on behind those that were told, and what was open is
     * over. Before bookLoaded. */
    void bookLost(const TicketsTold &tickets, const base::Cause &why);
    /* The ledger was read: everything in it is on the disk. */
    void bookLoaded() { keptTicket_ = ledger().nextTicket - 1; }

    /* Takes up what the ledger holds and starts the host. */
    void start();
    /* Keeps the request, then answers with its ticket, then runs it in its turn. */
    void accept(Request request, Answer answer);
    /* Ends the request of this ticket, or with 0 whatever runs or waits. */
    void cancel(std::uint64_t ticket, Answer answer);
    /* The running bank is marked good. Refused unless the agent is idle; answered when it is done.
     */
    void commit(Answer answer);
    /* A version that failed its trial may be offered again; likewise. */
    void forget(const std::string &version, Answer answer);
    /* A timer of the agent ran out. */
    void timerRanOut(const std::string &name);
    /* The agent stopped or restarted one. */
    void timerStopped(const std::string &name);
    /* The agent's call starts one: for how many seconds it is to run; none: it is not to run. */
    std::optional<int> hostStartsTimer(const std::string &name, int seconds);
    void hostStopsTimer(const std::string &name);
    /* What was put off has its turn where the agent would go on with it now. */
    void settingsChanged();

    /* What the host says; calls are answered elsewhere. */
    void hostDone(const cJSON &message);
    void hostKnowsNode(const std::string &mac);
    void hostStage(const std::string &stage);
    void hostToldBanks(const cJSON &message);
    void hostWaitsFor(const std::string &path, const std::string &found);
    /* Of the trial of the running bank, or of the one before it. */
    void hostTellsTrial(const std::string &note, const cJSON &message);
    void hostReported(const std::string &word, const std::string &record);
    /* What is known of an activation is on the disk before the agent goes on to its reboot. */
    void hostActivated(std::function<void()> kept);
    /* An image went to the gateway, or could not. */
    void hostHandedOver(const base::Cause &failure);
    void hostTellsCause(const cJSON &message);
    /* Why it is about to end. */
    void hostTellsLastWords(const cJSON &message);
    /* What the host says cannot be understood: it is as good as crashed. */
    void hostIsWrong(const std::string &why);
    HostProcess &host() { return host_; }
    void timersChanged() { deps_.board.refresh(); }

    /* Another number for each host process that was started. */
    std::uint64_t hostGeneration() const { return hostGeneration_; }
    bool agentStarted() const { return state_ != State::off && state_ != State::startingUp; }
    const std::string &waitsForPath() const { return waitsForPath_; }
    int hostCrashes() const { return hostCrashes_; }
    /* How the host process ended last; an empty sentence: it runs, or was ended. */
    const base::Cause &hostFailure() const { return hostFailure_; }
    /* The host says why it does not even start; then nothing can be taken over. */
    bool cannotStart() const { return cannotStart_; }
    /* While the agent has not started, half a sentence. */
    std::string whyNotStarted() const;
    /* The host does nothing that the daemon would have to wait for. */
    bool isIdle() const { return state_ == State::idle; }
    const TrialNow &trial() const { return trial_; }
    /* In a row. */
    int failedSaves() const { return failedSaves_; }
    /* What has its turn names the node by its address, which has none. */
    bool awaitsAddress() const { return lookForAddress_.isSet(); }
    /* Seconds until the host is started again; below 0: it runs. */
    int restartInSeconds() const;

  private:
    enum class State { off, startingUp, restoring, abandoning, idle, commanding, keeping, busy };

    // By a cancel, once the host has ended.
    enum class ToForget { nothing, running, everything };

    // What the host does for the node and not for the agent.
    struct OperatorCommand {
        base::Json event;
        HistoryLine done; // told when it is
        Answer answer;
    };

    Ledger &ledger() { return deps_.book.ledger(); }

    BootFacts facts() const;
    void launchHost();
    void tellBoot();
    void hostEnded(const std::string &how);
    void tellCrash(const std::string &how, bool inTheCall);
    void startUpDone(const cJSON &message);
    void tellOutcomeOfBoot(const ResumePlan &plan);
    void restoreMemory();
    void goOn();
    void becomeIdle();
    void forgetDeferral();
    void pump();
    std::deque<Request>::iterator nextInTurn();
    bool mayBegin(const Request &request);
    bool awaitsAddress(const Request &request);
    void begin(Running running);
    void endRefused(const Request &request, const guard::Refusal &refusal);
    void tellRefused(const Request &request, const guard::Refusal &refusal);
    void keepAndSend();
    void send();
    void putBack();
    void notKept(const std::string &what);
    void keepAgain();
    void callDone(const cJSON &message);
    void finishTrigger(const Request &trigger, const AgentMemoryText &before);
    void offerDone(const Request &offer, const Running &ended);
    void passedOver(const Request &offer);
    bool standsUntouched(const Request &by) const;
    void standingGoesOn(const Running &ended, bool putOff);
    void tellPutOff(const Request &offer);
    Request expiryOf(const std::string &name) const;
    const Request *currentOffer() const;
    bool timersAwaited() const;
    void supersedeStanding(const Request &by);
    bool rebootAwaited() const;
    std::optional<int> attemptFailed(int seconds);
    bool endSeries(const cJSON &message);
    std::optional<base::Cause> causeIn(const cJSON &message);
    void countDownloads();
    void renewHost();
    void awaitReboot();
    void rebootIsOverdue();
    void forgetReboot();
    void finish(const Request &request, base::Outcome outcome, base::Cause cause);
    static HistoryLine lineOf(const std::string &event, const Request &request);
    /* Of the request that runs or stands. */
    HistoryLine lineOfNow(const std::string &event) const;
    std::string governedWords() const;
    void tellTakenUp(const Request &request);
    void tellFailedAttempt(const Request &offer);
    void tell(const std::string &event, const Request &request, const std::string &reason = "",
              const std::string &next = "");
    bool runsOrStands(std::uint64_t ticket) const;
    bool runsForItself(std::uint64_t ticket) const;
    bool hasBooted() const;
    bool cancelInQueue(std::uint64_t ticket, const Answer &answer);
    void forgetCancelled();
    void answerCancels(const std::string &whatIsLeft);
    void saveAndAnswer(std::vector<Answer> answers, std::uint64_t ticket,
                       const std::string &whatIsLeft);
    void begin(OperatorCommand command);
    void commandDone(const std::string &failed);
    void forgetBaselines(const std::string &version);
    std::string whyBusy() const;
    HistoryLine lineOfRunningBank(const std::string &event) const;

    Dependencies deps_;
    std::function<void()> nodeKnown_;
    HostProcess host_;
    State state_ = State::off;
    CallObserver observed_;
    bool forgetDeferral_ = false;   // before the next call
    bool windowWasSpent_ = false;   // before the call
    std::uint64_t addressTold_ = 0; // the request that was told to wait for it
    bool settingsChanged_ = false;  // while the call ran
    bool cancelling_ = false;
    bool agentIsFresh_ = false; // it remembers what a start-up gives it
    bool bootTold_ = false;
    bool standingIsNew_ = false; // to this host process: it was told of no taking up yet
    bool beginAnew_ = false;     // what the broken call has written is still to be given up
    bool renewing_ = false;      // the host is ended so that the agent counts from nothing
    bool gaveUp_ = false;        // what the request left is still to be taken back
    ToForget toForget_ = ToForget::nothing;
    std::uint64_t cancelled_ = 0;
    std::vector<Answer> cancelAnswers_;
    std::uint64_t keptTicket_ = 0; // the newest that is on the disk
    std::uint64_t hostGeneration_ =
        0; // of the host process; what was begun for an earlier one is void
    std::string waitsForPath_;
    TrialNow trial_;
    std::optional<OperatorCommand> command_;
    int failedSaves_ = 0;
    int hostCrashes_ = 0; // since a call last came to its end
    base::Cause lastWords_;
    base::Cause hostFailure_;
    bool cannotStart_ = false;
    std::int64_t restartAtMs_ = 0;
    Alarm restart_;
    Alarm keepAgain_;
    Alarm rebootOverdue_;
    Alarm lookForAddress_;
};

} // namespace service

#endif
