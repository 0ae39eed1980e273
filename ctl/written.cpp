// SPDX-License-Identifier: MIT
#include "ctl/written.h"

#include "common/text.h"
#include "ctl/output.h"

namespace varnel::ctl {

void report_written(const Session &session, const conversation::Written &written) {
    const char *const durability = protocol::durability_name(written.durability);
    if (session.json) {
        Json json;
        json["layer"] = written.layer;
        json["backend"] = written.backend;
        json["durability"] = durability;
        json["revision"] = written.revision;
        if (written.changed)
            json["changed"] = *written.changed;
        print_json(json);
    } else if (session.verbose) {
        print_line("layer " + escaped(written.layer) + ", backend " + escaped(written.backend) + ", durability " +
                   durability + ", revision " + std::to_string(written.revision) +
                   (written.changed ? ", " + std::to_string(*written.changed) + " changed" : ""));
    }
}

} // namespace varnel::ctl
