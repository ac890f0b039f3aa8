// Prints what Redocly finds in API descriptions, warnings too; exit status 1 when there is something. Arguments: the
// files. Settings: redocly.yaml beside this file. They are read here and not searched for, because the search also
// looks for an account's credentials, and asks the network about them.

import { readFileSync } from "node:fs";
import { createConfig, formatProblems, getTotals, lint } from "@redocly/openapi-core";

const config = await createConfig(readFileSync(new URL("redocly.yaml", import.meta.url), "utf8"));
for (const ref of process.argv.slice(2)) {
    try {
        const problems = await lint({ ref, config });
        if (problems.length > 0) {
            formatProblems(problems, { totals: getTotals(problems), format: "stylish" });
            process.exitCode = 1;
        }
    } catch (error) {
        console.log(`${ref}: ${error.message}`);
        process.exitCode = 1;
    }
}
