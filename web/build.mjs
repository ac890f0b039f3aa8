// Builds the configurator's page. Arguments: the folder to write, of which nothing old stays, and a file for what was
// bundled, which scripts/sbom.py reads. Assets get names that stand for their contents, and each file lies there
// compressed as well. What not every reader needs is a file of its own.

import { createHash } from "node:crypto";
import { mkdirSync, readFileSync, rmSync, writeFileSync } from "node:fs";
import { execFileSync } from "node:child_process";
import { basename, join } from "node:path";
import { fileURLToPath } from "node:url";
import { gzipSync } from "node:zlib";
import { build } from "esbuild";
import openapi, { astToString } from "openapi-typescript";

const here = fileURLToPath(new URL(".", import.meta.url));
const [out, metafile] = process.argv.slice(2);
if (!metafile) {
    console.error("Usage: node web/build.mjs FOLDER METAFILE");
    process.exit(2);
}

/** Makes the types of the API from its description, for the compiler only. */
async function makeTypes() {
    const types = astToString(await openapi(new URL("../docs/devhost-api.yaml", import.meta.url)));
    writeFileSync(join(here, "src/api.gen.ts"), types);
}

/** Writes a file and, beside it, the same compressed. */
function write(path, contents) {
    writeFileSync(path, contents);
    writeFileSync(`${path}.gz`, gzipSync(contents, { level: 9 }));
}

await makeTypes();
execFileSync(process.execPath, [join(here, "node_modules/typescript/bin/tsc"), "--project", here], { stdio: "inherit" });
const bundle = await build({
    entryPoints: [join(here, "src/main.ts"), join(here, "src/style.css")],
    bundle: true, splitting: true, minify: true, format: "esm", target: "es2022", legalComments: "none", write: false,
    outdir: "/", entryNames: "[name]-[hash]", chunkNames: "[name]-[hash]", charset: "utf8", logLevel: "warning",
    metafile: true, absWorkingDir: here,
});
const icon = readFileSync(join(here, "src/icon.svg"));
const files = bundle.outputFiles.map((file) => ({ name: basename(file.path), contents: Buffer.from(file.contents) }));
files.push({ name: `icon-${createHash("sha256").update(icon).digest("hex").slice(0, 8)}.svg`, contents: icon });

rmSync(out, { recursive: true, force: true });
mkdirSync(join(out, "assets"), { recursive: true });
let page = readFileSync(join(here, "index.html"), "utf8");
for (const { name, contents } of files) {
    write(join(out, "assets", name), contents);
    page = page.replace(`/assets/${name.replace(/-\w+(?=\.)/, "")}"`, `/assets/${name}"`);
}
write(join(out, "index.html"), page);
writeFileSync(metafile, JSON.stringify(bundle.metafile));
