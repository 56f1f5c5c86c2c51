#include "kestranectl/bridge_reporter.h"

#include <utility>

namespace kestranectl {

void BridgeReporter::look()
{
    BridgeSnapshot now = takeSnapshot(environment_, snapshot_);
    const BridgeSnapshot::Key root(BridgeSubject::directory, environment_.store.rootURL);
    if (!std::exchange(hasLooked_, true) && !now.items.contains(root))
        tell({ .kind = ChangeKind::gone, .key = root });
    for (const BridgeChange& change : changesBetween(snapshot_, now))
        tell(change);
    snapshot_ = std::move(now);
}

void BridgeReporter::tell(const BridgeChange& change) const
{
    if (change.kind == ChangeKind::gone && change.key.first == BridgeSubject::event
        && !options_.tellsEventsThatGo)
        return;
    const base::Timestamp time = environment_.services.now();
    console_.output(options_.json ? jsonLine(change, time) : textLine(change, time));
}

} // namespace kestranectl
