#include "load/steward.h"

#include "load/hand.h"
#include "probe/claim.h"

namespace kelpcheck {

namespace {

class Steward {
 public:
  Steward(const LoadOptions &options, const Holder &holder, CallBoard &calls)
      : options_(options), holder_(holder), context_(options.server, calls) {}

  std::string serve(const std::string &request) {
    int32_t time = 0;
    try {
      const Session session(context_);
      time = session.time();
      const Prefix prefix(context_, session);
      if (request == "open") require_ours(session, prefix);
      const std::string problem = remove_all(prefix);
      if (!problem.empty()) return text(time, " ", problem);
      if (request == "open") {
        take_claim(context_, session, holder_);
        make_nodes(session, prefix);
      }
      return text(time, " ");
    } catch (const Refused &reason) {
      return text(time, " refused ", printable(reason.what()));
    } catch (const NoSession &) {
      return "0 no session";
    } catch (const CallFailed &failure) {
      return text(time, " ", printable(failure.what()));
    }
  }

 private:
  int32_t nodes() const { return options_.sessions * Hand::nodes_per_session(options_); }

  // Neither of a run that works, nor the evidence of a watch.
  void require_ours(const Session &session, const Prefix &prefix) {
    require_free(context_, session);
    for (const std::string &node : prefix.nodes_from(0, nodes())) {
      require_no_watch(context_, session, node);
    }
  }

  std::string remove_all(const Prefix &prefix) const {
    const Names found = prefix.nodes_from(0, nodes());
    const std::string problem = prefix.remove(found, [](size_t, size_t) {});
    const Names left = prefix.nodes_from(0, nodes());
    if (left.empty()) return "";
    return text(left.size(), " nodes are left on the server, such as ", left[0],
                problem.empty() ? "" : ": ", problem);
  }

  void make_nodes(const Session &session, const Prefix &prefix) {
    Objects made(context_, 0);
    for (int32_t node = 1; node <= nodes(); ++node) {
      made.add(session.new_object(prefix.own_name(node), KindNode));
    }
    const Modified done = session.modify(Insert, options_.server.database, made);
    if (done.count == nodes()) return;
    throw CallFailed(text("kelp2_modify_object inserted ", done.count, " of ", nodes(),
                          " nodes, first entry ", done.errors[0]));
  }

  const LoadOptions &options_;
  Holder holder_;
  Context context_;
};

}  // namespace

static Holder holder_of_load(const LoadOptions &options) {
  return Holder::of_this_process(options.sessions * Hand::nodes_per_session(options));
}

std::unique_ptr<Worker> make_steward(const LoadOptions &options) {
  const Holder holder = holder_of_load(options);
  return std::make_unique<Worker>([&options, holder](CallBoard &calls) -> Worker::Serve {
    const auto steward = std::make_shared<Steward>(options, holder, calls);
    return [steward](const std::string &request) { return steward->serve(request); };
  });
}

ClaimKeeper::ClaimKeeper(const LoadOptions &options)
    : child_([this, &options, holder = holder_of_load(options)](const RecordPipe &) {
        Context context(options.server, *board_);
        keep_claim(context, holder);
        return 0;
      }) {}

}  // namespace kelpcheck
