// SPDX-License-Identifier: MIT
// From the start-up of a host to its first call: what the ledger holds is taken up.
#ifndef SERVICE_JOBS_START_UP_H
#define SERVICE_JOBS_START_UP_H

#include "service/jobs/address_watch.h"
#include "service/jobs/deferred_offer.h"
#include "service/jobs/host_supervision.h"
#include "service/jobs/job_context.h"
#include "service/jobs/reboot_watch.h"
#include "service/jobs/trial_watch.h"
#include "service/state/resume.h"

#include "base/json.h"

#include <functional>

namespace service {

class StartUp {
  public:
    /* The parts that it needs; all of them outlive this. */
    struct Parts {
        HostSupervision &host;
        const TrialWatch &trial;
        RebootWatch &reboot;
        AddressWatch &address;
        DeferredOffer &deferred;
    };
    struct Callbacks {
        std::function<void(Running running)> begin; // the call that broke off
        std::function<void()> idle;                 // there is none, or all is taken up
    };

    StartUp(JobContext &context, const Parts &parts, Callbacks callbacks)
        : context_(context), parts_(parts), callbacks_(std::move(callbacks)) {}

    /* The banks as the host read them. */
    void hostTellsBanks(const cJSON &message);
    /* The host has started up. */
    void takeUp(const cJSON &message, bool cancelled);
    /* What a request left is taken back. */
    void abandoned();
    /* The agent gets back what it remembered, unless a start-up gave it that. */
    void restoreMemory();
    /* The host has done what it was told after that, or says why it could not. */
    void prepared(const base::Result<void> &done);
    /* Behind start-up and restore: the broken call again, or the next request. */
    void goOn();

  private:
    BootFacts facts() const;
    void recordBoot();
    void finishWhatEnded(const ResumePlan &plan);
    void finishBooted(const Request &offer, const ResumePlan &plan);
    void recordTakenUp(const Request &request);

    JobContext &context_;
    Parts parts_;
    Callbacks callbacks_;
    bool bootRecorded_ = false;
    bool agentIsFresh_ = false; // it remembers what a start-up gives it
    bool toldNoTrials_ = false;
    bool waitingIsNew_ = false; // this host process was told of no taking up of the waiting offer
    bool beginAnew_ = false;    // what the broken call has written is still to be given up
    bool givesUp_ = false;      // the host was told to
    std::string notGivenUp_;    // why it could not; empty: it could, or nothing was to be
    bool gaveUp_ = false;       // what the request left is still to be taken back
};

} // namespace service

#endif
