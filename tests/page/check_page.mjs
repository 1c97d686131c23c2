// Looks at pages of si_inspect in a browser: node check_page.mjs SI_INSPECT SAMPLE FOLDER
//
// The pages are those of the sample, of the sample with markup for names, and of the sample damaged.
// Each is valid HTML and accessible, fits into its window, and asks for nothing from elsewhere; its
// numbers are those of the JSON. FOLDER gets the pages and their screenshots. CHROMIUM in the
// environment names the browser.

import assert from "node:assert/strict";
import { execFileSync } from "node:child_process";
import { readFileSync, writeFileSync } from "node:fs";
import { createRequire } from "node:module";
import path from "node:path";
import { pathToFileURL } from "node:url";
import { HtmlValidate } from "html-validate";
import puppeteer from "puppeteer-core";

const [siInspect, sample, folder] = process.argv.slice(2).map((name) => path.resolve(name));
const axe = readFileSync(createRequire(import.meta.url).resolve("axe-core/axe.min.js"), "utf8");

const windows = [
    { name: "1280", width: 1280, scheme: "light" },
    { name: "390", width: 390, scheme: "light" },
    { name: "dark", width: 1280, scheme: "dark" },
    { name: "390-dark", width: 390, scheme: "dark" },
    { name: "print", width: 700, scheme: "light", media: "print" }, // A4 within its margins
];

// --- Captures ---

function withMarkupForNames(stream) {
    const names = [
        ["TV Manac\xE1 HD", "<b>'\"&</b>()"],
        ["Paix\xF5es do Sert\xE3o", "<script>1</script"],
        ["Manac\xE1 M\xF3vel", "<img src=x:>"],
        ["Manac\xE1 Interativa", "\"><iframe src=x:>"],
    ];
    let text = stream.toString("latin1");
    for (const [name, markup] of names) {
        assert.equal(name.length, markup.length);
        assert.ok(text.includes(name), `the sample has no ${name}`);
        text = text.replaceAll(name, markup);
    }
    return Buffer.from(text, "latin1");
}

function damaged(stream) {
    const packet = 188;
    const kept = [];
    for (let i = 0; i * packet < stream.length; ++i) {
        const bytes = Buffer.from(stream.subarray(i * packet, (i + 1) * packet));
        if (i % 40 === 7) bytes[30] ^= 0xff;
        if (i % 97 !== 50) kept.push(bytes);
    }
    return Buffer.concat(kept);
}

function write(name, content) {
    const file = path.join(folder, name);
    writeFileSync(file, content);
    return file;
}

const captures = [
    { name: "sample", file: sample, options: [] },
    {
        name: "markup",
        file: write("markup.ts", withMarkupForNames(readFileSync(sample))),
        options: ["--no-crc"], // their CRC_32 is that of the names before
    },
    { name: "damaged", file: write("damaged.ts", damaged(readFileSync(sample))), options: [] },
];

function run(capture, ...options) {
    const all = ["--quiet", ...options, ...capture.options, capture.file];
    return execFileSync(siInspect, all, { encoding: "utf8", maxBuffer: 2 ** 28 });
}

function json(capture, ...options) {
    const lines = run(capture, "--format", "json", ...options).split("\n");
    return lines.filter((line) => line !== "").map((line) => JSON.parse(line));
}

// --- Checks ---

async function checkMarkup(file) {
    const validator = new HtmlValidate({
        root: true,
        extends: ["html-validate:recommended"],
        rules: {
            // In the sources of the program double quotes would need escapes.
            "attr-quotes": ["error", { style: "any" }],
            // Where a programme stands in the grid, and how long it is.
            "no-inline-style": ["error", { allowedProperties: ["--at", "--for", "--hours"] }],
        },
    });
    const report = await validator.validateFile(file);
    const found = report.results.flatMap((result) =>
        result.messages.map((m) => `${m.line}:${m.column} ${m.ruleId}: ${m.message}`),
    );
    assert.deepEqual(found, [], "html-validate");
}

/// Opens the file, and fails when it asks for anything else.
async function open(browser, file, window, settings = {}) {
    const tab = await browser.newPage();
    const elsewhere = [];
    const messages = [];
    tab.on("request", (request) => elsewhere.push(request.url()));
    tab.on("console", (message) => messages.push(message.text()));
    tab.on("pageerror", (error) => messages.push(String(error)));
    tab.on("dialog", (dialog) => {
        messages.push(dialog.message());
        dialog.dismiss();
    });
    if (settings.bypassCSP) await tab.setBypassCSP(true);
    await tab.setViewport({ width: window.width, height: 900 });
    await tab.emulateMediaFeatures([{ name: "prefers-color-scheme", value: window.scheme }]);
    await tab.emulateMediaType(window.media ?? "screen");
    const address = pathToFileURL(file).href;
    await tab.goto(address, { waitUntil: "networkidle0" });
    assert.deepEqual(elsewhere, [address], "requests");
    assert.deepEqual(messages, [], "messages");
    return tab;
}

async function checkAccessibility(browser, file, window) {
    const tab = await open(browser, file, window, { bypassCSP: true });
    await tab.evaluate(() => {
        for (const details of document.querySelectorAll("details")) details.open = true;
    });
    await tab.evaluate(axe);
    const { violations } = await tab.evaluate(() => window.axe.run());
    const found = violations.flatMap(({ id, nodes }) =>
        nodes.map((node) => `${id}: ${node.html}: ${node.failureSummary}`),
    );
    assert.deepEqual(found, [], "axe-core");
    await tab.close();
}

/// What sticks out of the window, or is cut where nothing scrolls.
function findCutElements() {
    const mayBeCut = ".scroll *, pre, pre *, .unseen";
    const cut = [];
    if (document.documentElement.scrollWidth > window.innerWidth) cut.push("the page");
    for (const element of document.body.querySelectorAll("*")) {
        if (element.matches(mayBeCut) || !element.checkVisibility()) continue;
        const sticksOut = element.getBoundingClientRect().right > window.innerWidth + 1;
        const clips = getComputedStyle(element).overflowX === "hidden";
        if (sticksOut || (clips && element.scrollWidth > element.clientWidth + 1)) {
            cut.push(element.outerHTML.slice(0, 120));
        }
    }
    return cut;
}

// --- The numbers of a page ---

/// In the browser: what the page says, as the JSON has it.
function readPage() {
    const text = (element) => element?.textContent.trim();
    const all = (selector, of = document) => [...of.querySelectorAll(selector)];
    const facts = (of) =>
        Object.fromEntries(all("dl div", of).map((d) => [text(d.querySelector("dt")), text(d.querySelector("dd"))]));
    const rows = (of) =>
        all("tbody tr", of).map((row) => all("th, td", row).map((cell) => text(cell)));
    const tables = all("#bit-rate table");
    return {
        facts: facts(document.querySelector("header")),
        findings: all("#findings .finding").map((f) => ({
            severity: text(f.querySelector(".severity")),
            says: text(f.querySelector("p")),
            finding: text(f.querySelector("code")),
        })),
        services: all("#services .card").map((card) => ({
            heading: text(card.querySelector("h3")),
            facts: facts(card),
            streams: rows(card),
        })),
        owners: rows(tables[0]),
        pids: rows(tables[1]),
        intervals: rows(document.querySelector("#intervals")),
        programmes: all("#guide .row").flatMap((row) =>
            all("li", row).map((li) => ({
                service: text(row.querySelector("h4")),
                start: li.querySelector("time").dateTime,
                title: text(li.querySelector(".title")),
                rating: text(li.querySelector(".rating")),
                widthInHours: li.getBoundingClientRect().width /
                    document.querySelector(".hours span").getBoundingClientRect().width,
            })),
        ),
    };
}

const id = (value) => `0x${value.toString(16).toUpperCase().padStart(4, "0")} (${value})`;
const heading = (service) => [service.number, service.name].filter(Boolean).join(" ");
const sum = (numbers) => numbers.reduce((a, b) => a + b, 0);

function checkFindings(page, capture) {
    const told = json(capture, "--show", "findings");
    assert.deepEqual(
        page.findings,
        told.map((f) => ({
            severity: f.severity,
            says: `${f.severity} ${f.says}`,
            finding: f.finding,
        })),
    );
    assert.equal(page.facts.Findings, String(told.length));
}

function checkServices(page, capture) {
    const told = json(capture, "--show", "services");
    assert.deepEqual(page.services.map((s) => s.heading), told.map(heading));
    assert.equal(page.facts.Services, String(told.length));
    told.forEach((service, i) => {
        const { facts, streams } = page.services[i];
        assert.equal(facts.service_id, id(service.service_id));
        assert.equal(facts["PMT PID"], id(service.program_map_PID));
        assert.equal(facts["PCR PID"], id(service.PCR_PID));
        assert.ok(facts.Now.startsWith(service.present.event_name));
        assert.ok(facts.Next.startsWith(service.following.event_name));
        assert.deepEqual(
            streams.map((row) => row[0]),
            service.streams.map((s) => id(s.elementary_PID)),
        );
    });
}

function checkGuide(page, capture) {
    const key = (p) => `${p.start} ${p.service} ${p.title}`;
    const byKey = (a, b) => (key(a) < key(b) ? -1 : 1);
    const told = json(capture, "--show", "guide").map((p) => ({
        service: heading(p),
        start: p.start_time_iso,
        title: p.event_name,
        rating: p.rating_name === null ? undefined : `rated ${p.rating_name.split(",")[0]}`,
        hours: p.duration / 3600,
    }));
    assert.ok(told.length > 0);
    const shown = [...page.programmes].sort(byKey);
    told.sort(byKey);
    assert.deepEqual(
        shown.map(({ widthInHours, ...rest }) => rest),
        told.map(({ hours, ...rest }) => rest),
    );
    told.forEach(({ hours }, i) => assert.ok(Math.abs(shown[i].widthInHours - hours) < 0.02));
}

function checkBitRates(page, capture) {
    const { totals } = json(capture, "--totals").at(-1);
    assert.equal(page.facts.Packets, String(totals.packets));
    assert.equal(page.facts.PIDs, String(totals.pids));
    assert.equal(page.pids.length, totals.pids);
    assert.equal(sum(page.pids.map((row) => Number(row[3]))), totals.packets);
    assert.equal(sum(page.owners.map((row) => Number(row[1]))), totals.packets);
    const seconds = parseFloat(page.facts.Duration);
    const kilobits = (totals.packets * 188 * 8) / seconds / 1000;
    assert.ok(Math.abs(parseFloat(page.facts["Bit rate"]) - kilobits) < kilobits / 100);
    for (const row of page.pids) {
        const share = (100 * Number(row[3])) / totals.packets;
        assert.equal(row[5], `${share.toFixed(2)} %`);
    }
}

/// Limits that no table keeps make findings of the longest intervals.
function checkIntervals(page, capture) {
    const names = { pat_rare: "PAT", nit_rare: "NIT", sdt_rare: "SDT", ait_rare: "AIT", clock_rare: "TOT or TDT" };
    const limits = Object.keys(names).map((name) => `${name}=0.001`).join(",");
    const told = json(capture, "--show", "findings", "--limit-of", limits);
    for (const [finding, table] of Object.entries(names)) {
        const worst = told.find((f) => f.finding === finding).worst;
        const longest = page.intervals.find((row) => row[0] === table)[5];
        const inSeconds = parseFloat(longest) / (longest.includes("ms") ? 1000 : 1);
        assert.ok(Math.abs(inSeconds - worst) < 0.01, `${table}: ${longest}, ${worst} s`);
    }
}

// --- All of it ---

async function check(browser, capture) {
    const file = write(`${capture.name}.html`, run(capture, "--format", "html"));
    await checkMarkup(file);
    for (const window of windows) {
        const tab = await open(browser, file, window);
        const picture = path.join(folder, `${capture.name}-${window.name}.png`);
        await tab.screenshot({ path: picture, fullPage: true });
        assert.deepEqual(await tab.evaluate(findCutElements), [], `cut in ${picture}`);
        if (window.name === "1280") {
            const page = await tab.evaluate(readPage);
            checkFindings(page, capture);
            checkServices(page, capture);
            checkGuide(page, capture);
            checkBitRates(page, capture);
            if (capture.name === "sample") checkIntervals(page, capture);
        }
        await tab.close();
        await checkAccessibility(browser, file, window);
    }
}

const browser = await puppeteer.launch({
    executablePath: process.env.CHROMIUM ?? "/usr/bin/chromium",
    args: process.getuid() === 0 ? ["--no-sandbox"] : [], // root may not have one
});
try {
    for (const capture of captures) {
        await check(browser, capture).catch((error) => {
            error.message = `the page of ${capture.name}: ${error.message}`;
            throw error;
        });
    }
} finally {
    await browser.close();
}
console.log(`${captures.length} pages hold; their screenshots are in ${folder}`);
