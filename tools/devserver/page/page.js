// Shows status.json, and fetches new requests once a second while the page is visible. Texts that
// clients sent are inserted as text, never as markup.
"use strict";

const INTERVAL = 1000; // milliseconds
const MAX_REQUESTS = 300; // the number of requests that are shown
const MAX_TEXT = 300; // characters; the tooltip shows the whole text
const TIMEOUT = 5000; // milliseconds to wait for an answer

let started = null; // the time when the server started
let last = 0; // the id of the newest request that is shown
let packages = ""; // the packages that are shown, as JSON

const find = (id) => document.getElementById(id);

// Escapes invisible characters, and those that change the direction of the text, as JSON does.
function visible(text) {
  return text.replace(/[\x00-\x1f\x7f-\x9f\u200b-\u200f\u2028-\u202e\u2060-\u2069\ufeff]/g,
    (character) => "\\u" + character.charCodeAt(0).toString(16).padStart(4, "0"));
}

// Creates an element with a class. The content consists of texts and elements.
function make(tag, className, ...content) {
  const element = document.createElement(tag);
  if (className) element.className = className;
  element.append(...content);
  return element;
}

// Creates an element with a text that a client sent.
function untrusted(tag, className, text) {
  const shown = visible(text);
  const cut = shown.length > MAX_TEXT;
  const element = make(tag, className, cut ? shown.slice(0, MAX_TEXT) + "…" : shown);
  element.dir = "auto";
  if (cut) element.title = shown;
  return element;
}

function bytes(count) {
  if (count < 1024) return `${count} B`;
  const power = Math.min(Math.floor(Math.log2(count) / 10), 4);
  return `${(count / 1024 ** power).toFixed(1)} ${["", "K", "M", "G", "T"][power]}iB`;
}

function duration(ms) {
  if (ms < 10) return `${ms.toFixed(1)} ms`;
  return ms < 10000 ? `${Math.round(ms)} ms` : `${(ms / 1000).toFixed(1)} s`;
}

function time(utc) {
  const date = new Date(utc);
  const day = date.toDateString() === new Date().toDateString() ? "" : utc.slice(0, 10) + " ";
  const element = make("time", "", day + date.toLocaleTimeString("en-GB"));
  element.dateTime = element.title = utc;
  return element;
}

// Creates a cell. Narrow screens show its label, because the table has no header there.
function cell(label, className, ...content) {
  const element = make("td", className, ...content);
  if (label) element.dataset.label = label;
  return element;
}

function packageRow(entry) {
  const link = untrusted("a", "", entry.name);
  link.href = entry.path;
  const size = cell("", "number", bytes(entry.size));
  size.title = `${entry.size} bytes`;
  return make("tr", "", cell("", "wide", link), size,
    cell("stored", "number", time(entry.stored)));
}

function requestRow(entry) {
  const what = cell("", "wide", untrusted("strong", "", entry.command || "–"), " ",
    untrusted("span", "method", entry.method), " ", untrusted("span", "path", entry.path));
  const parameters = entry.parameters.map(({name, value}) =>
    make("li", "", untrusted("span", "name", name), " ", untrusted("span", "value", value)));
  if (parameters.length) what.append(make("ul", "parameters", ...parameters));
  if (entry.reason) what.append(untrusted("p", "reason", entry.reason));
  const badge = make("span", `status s${Math.floor(entry.status / 100)}`, String(entry.status));
  return make("tr", "",
    cell("", "time", time(entry.time), make("small", "", entry.peer)), what,
    cell("", "", badge), cell("in", "number", bytes(entry.received)),
    cell("out", "number", bytes(entry.sent)),
    cell("", "number", duration(entry.duration_ms)));
}

function showSettings(status) {
  const settings = [`answers version ${status.server_version}`,
    `packages up to ${bytes(status.max_upload)}`];
  const unusual = [];
  if (status.fail) unusual.push(`fails with ${status.fail}`);
  if (status.delay_ms) unusual.push(`waits ${status.delay_ms} ms`);
  if (status.framing === "chunked") unusual.push("sends in chunks");
  if (status.framing === "close") unusual.push("sends no length");
  find("version").textContent = status.version;
  find("settings").replaceChildren(...settings.map((text) => untrusted("li", "", text)),
    ...unusual.map((text) => make("li", "unusual", text)));
}

function showPackages(status) {
  const now = JSON.stringify(status.packages) + status.packages_total;
  if (now === packages) return;
  packages = now;
  find("packages").tBodies[0].replaceChildren(...status.packages.map(packageRow));
  const more = status.packages_total > status.packages.length;
  find("package-count").textContent =
    status.packages_total + (more ? `, the newest ${status.packages.length} shown` : "");
}

function showRequests(status) {
  const body = find("requests").tBodies[0];
  for (const entry of status.requests) {
    body.prepend(requestRow(entry));
    last = entry.id;
  }
  while (body.rows.length > MAX_REQUESTS) body.deleteRow(-1);
  const more = status.requests_total > body.rows.length;
  find("request-count").textContent =
    status.requests_total + (more ? `, the last ${body.rows.length} shown` : "");
}

function show(status) {
  if (status.started !== started) { // The server was restarted, so its ids begin at 1 again.
    const restarted = started !== null;
    started = status.started;
    showSettings(status);
    find("requests").tBodies[0].replaceChildren();
    if (restarted && last > 0) {
      last = 0; // The next update fetches all requests of the new run.
      return;
    }
  }
  showPackages(status);
  showRequests(status);
  for (const kind of ["packages", "requests"]) {
    const none = status[`${kind}_total`] === 0;
    find(`no-${kind}`).hidden = !none;
    find(kind).hidden = none;
  }
}

function showLive(className, text) {
  const live = find("live");
  if (live.textContent === text) return;
  live.className = className;
  live.textContent = text;
}

async function update() {
  if (!document.hidden) {
    try {
      const answer = await fetch(`status.json?after=${last}`,
        {signal: AbortSignal.timeout(TIMEOUT)});
      if (!answer.ok) throw new Error(await answer.text());
      show(await answer.json());
      showLive("on", "live");
    } catch (error) {
      const unreachable = error instanceof TypeError || error.name === "TimeoutError";
      showLive("off", unreachable ? "the server does not answer" : error.message);
    }
  }
  setTimeout(update, INTERVAL);
}

for (const element of document.getElementsByClassName("url")) {
  element.textContent = location.origin + "/";
}
update();
