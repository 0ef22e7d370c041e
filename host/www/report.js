// A run's report: summary, root causes, the domain controller matrix, and every check with its
// meaning, what to do, help links, findings and commands; each check can be tested again.

import * as api from "./api.js";
import {alertBox, badge, countsText, el, externalLink, seconds, showView} from "./dom.js";
import {keepSecrets, keptSecrets, secretLabel} from "./inputs.js";

const FAILED = new Set(["error", "warning"]);
const LEVELS = {0: "error", 1: "warning"};
const CELL_TEXT = {ok: "ok", fail: "failed", "-": "not tested"};

export async function showReport(run) {
  const [report, types] = await Promise.all([api.report(run), api.testTypes()]);
  const type = types.find((candidate) => candidate.name === report.type) ?? {name: report.type, secrets: []};
  const announcer = el("p", {class: "visually-hidden", role: "status"});
  const entry = (check) => checkEntry({report, type, announcer}, check);
  showView(
    `Report: ${report.type}`,
    summary(report),
    rootCauses(report.root_causes),
    controllerMatrix(report.controllers),
    el("h2", {}, "Checks"),
    stages(report.checks).map(([stage, checks]) =>
      el("section", {class: "stage-group"}, el("h3", {}, `Stage ${stage}`), checks.map(entry)),
    ),
    announcer,
  );
}

function summary(report) {
  const facts = [
    ["Status", badge(report.status)],
    ["Checks", countsText(report.counts)],
    ["Run", report.run],
    ["Started", `${report.started}, ${seconds(report.seconds)}`],
    ["Run bracket", report.bracket],
  ];
  return el(
    "section",
    {class: "card summary", "aria-label": "Summary"},
    !report.complete && el("p", {class: "error"}, "The run was interrupted: not every check ran."),
    definitions(facts),
    failures(report.checks),
    el("details", {}, el("summary", {}, "Inputs"), definitions(Object.entries(report.inputs ?? {}))),
    el("p", {}, el("a", {href: "#/history"}, "Compare with another run")),
  );
}

// The failed checks, each a button that opens its entry and moves the focus there.
function failures(checks) {
  const failed = checks.filter((check) => FAILED.has(check.status));
  if (!failed.length) return null;
  const go = (id) => () => {
    const entry = document.querySelector(`details[data-check="${CSS.escape(id)}"]`);
    entry.open = true;
    entry.querySelector("summary").focus();
  };
  const button = (check) =>
    el("button", {type: "button", class: "link-button", onclick: go(check.id)}, `${check.id} (${check.code})`);
  return el("p", {class: "failures"}, "Failed: ", failed.map((check) => [button(check), " "]));
}

// A definition list of [term, value] pairs; pairs without a value are left out.
function definitions(pairs) {
  return el(
    "dl",
    {class: "facts"},
    pairs
      .filter(([, value]) => value !== undefined)
      .map(([term, value]) => [el("dt", {}, term), el("dd", {}, findingValue(value))]),
  );
}

// One line per cause, with the checks that fail because of it.
function rootCauses(causes) {
  if (!causes?.length) return null;
  const byText = new Map();
  for (const {cause, check, text} of causes) {
    if (!byText.has(text)) byText.set(text, {cause, effects: []});
    byText.get(text).effects.push(check);
  }
  const line = ([text, {cause, effects}]) =>
    el("li", {}, el("strong", {}, text), ` (found by ${cause}); failing because of it: ${effects.join(", ")}`);
  return el(
    "section",
    {class: "card causes", "aria-labelledby": "causes-heading"},
    el("h2", {id: "causes-heading"}, "Root causes"),
    el("ul", {}, [...byText].map(line)),
  );
}

function controllerMatrix(matrix) {
  if (!matrix?.controllers?.length) return null;
  const columns = ["Controller", ...matrix.checks].map((name) => el("th", {scope: "col"}, name));
  const cell = (host, id) => {
    const state = matrix.cells[host]?.[id] ?? "-";
    return el("td", {class: `cell-${state === "-" ? "none" : state}`}, CELL_TEXT[state] ?? state);
  };
  const rows = matrix.controllers.map((host) =>
    el("tr", {}, el("th", {scope: "row"}, host), matrix.checks.map((id) => cell(host, id))),
  );
  return el(
    "section",
    {class: "card", "aria-labelledby": "matrix-heading"},
    el("h2", {id: "matrix-heading"}, "Domain controllers"),
    el(
      "div",
      {class: "scroll", tabindex: "0", role: "region", "aria-labelledby": "matrix-caption"},
      el(
        "table",
        {class: "matrix"},
        el("caption", {id: "matrix-caption"}, "Per controller, the checks that test each one"),
        el("thead", {}, el("tr", {}, columns)),
        el("tbody", {}, rows),
      ),
    ),
  );
}

// The checks grouped by stage, in the report's order.
function stages(checks) {
  const groups = new Map();
  for (const check of checks) {
    if (!groups.has(check.stage)) groups.set(check.stage, []);
    groups.get(check.stage).push(check);
  }
  return [...groups];
}

// One check, open when it failed. CONTEXT: the report, its test type and the announcer.
function checkEntry(context, check) {
  const summaryLine = el(
    "summary",
    {},
    badge(check.status),
    " ",
    el("span", {class: "check-title"}, check.title ?? check.id),
    " ",
    el("span", {class: "check-id"}, check.id),
    check.code !== undefined && el("span", {class: "code"}, `code ${check.code}`),
  );
  const body = el(
    "div",
    {class: "check-body"},
    checkFacts(check),
    helpLinks(check.links),
    commands(check.commands),
    findings(check.findings),
    parameters(check.params),
  );
  const open = FAILED.has(check.status);
  const entry = el("details", {class: `check check-${check.status}`, open, "data-check": check.id}, summaryLine, body);
  if (check.status !== "unavailable") body.append(recheckControl(context, check, entry));
  return entry;
}

const listed = (items, separator) => (items?.length ? items.join(separator) : undefined);

function checkFacts(check) {
  const level = LEVELS[check.level] ?? `level ${check.level}`;
  const code = check.code === undefined ? undefined : `${check.code} (${level})`;
  return definitions([
    ["Code", code],
    ["Meaning", check.meaning],
    ["What to do", check.action],
    ["Failed hosts", listed(check.hosts, ", ")],
    ["Blocked by", listed(check.blocked_by, "; ")],
    ["Controllers tested", listed(check.tried, ", ")],
    ["Not run because of", check.stopped_by],
    ["Method", `${check.api} ${check.method} v${check.version}`],
    ["Time", check.seconds === undefined ? undefined : seconds(check.seconds)],
  ]);
}

function helpLinks(links) {
  const addresses = Object.values(links ?? {});
  if (!addresses.length) return null;
  return el(
    "div",
    {class: "links"},
    el("h4", {}, "Help"),
    el("ul", {}, addresses.map((address) => el("li", {}, externalLink(address)))),
  );
}

function commands(list) {
  if (!list?.length) return null;
  return el(
    "div",
    {},
    el("h4", {}, "Commands to see it yourself"),
    list.map((command) => el("pre", {}, el("code", {}, command))),
  );
}

function findings(value) {
  const empty = value === undefined || value === null || (typeof value === "object" && !Object.keys(value).length);
  return empty ? null : el("div", {}, el("h4", {}, "Findings"), findingValue(value));
}

function parameters(params) {
  if (!params || !Object.keys(params).length) return null;
  return el("details", {class: "params"}, el("summary", {}, "Parameters sent"), findingValue(params));
}

// Any JSON value as nested lists; text as text.
function findingValue(value) {
  if (value instanceof Node) return value;
  if (Array.isArray(value)) {
    if (!value.length) return "none";
    return el("ul", {class: "values"}, value.map((item) => el("li", {}, findingValue(item))));
  }
  if (value !== null && typeof value === "object") return definitions(Object.entries(value));
  return value === null ? "none" : String(value);
}

// "Test again": one fresh call of the check, shown in place of the old entry. The secrets the
// check takes come from this page's memory or are asked for, and are kept in memory only.
function recheckControl(context, check, entry) {
  const {report, type, announcer} = context;
  const error = alertBox();
  const button = el("button", {type: "button"}, "Test again");
  button.addEventListener("click", async () => {
    error.textContent = "";
    const needed = type.secrets.filter((name) => name in (check.params ?? {}));
    const secrets = await secretsFor(report.run, type.name, needed);
    if (!secrets) return;
    button.disabled = true;
    button.textContent = "Testing…";
    try {
      const fresh = await api.recheck(report.run, check.id, secrets);
      keepSecrets(report.run, {...keptSecrets(report.run), ...secrets});
      const replacement = checkEntry(context, {...fresh, stage: check.stage});
      replacement.open = true;
      entry.replaceWith(replacement);
      replacement.querySelector("summary").focus();
      const code = fresh.code === undefined ? "" : ` ${fresh.code}`;
      announcer.textContent = `Tested again: ${fresh.title ?? fresh.id}: ${fresh.status}${code}`;
    } catch (failure) {
      error.textContent = failure.message;
      button.disabled = false;
      button.textContent = "Test again";
    }
  });
  return el("div", {class: "actions"}, button, error);
}

// The secrets NAMES of RUN, from memory or asked for in a dialog; null when the user cancels.
function secretsFor(run, typeName, names) {
  const kept = keptSecrets(run);
  const missing = names.filter((name) => !kept[name]);
  const known = Object.fromEntries(names.filter((name) => kept[name]).map((name) => [name, kept[name]]));
  if (!missing.length) return Promise.resolve(known);
  const field = (name) =>
    el(
      "div",
      {class: "field"},
      el("label", {for: `secret-${name}`}, secretLabel(typeName, name)),
      el("input", {id: `secret-${name}`, name, type: "password", autocomplete: "off", required: true}),
    );
  const form = el(
    "form",
    {method: "dialog"},
    el("h2", {id: "secret-heading"}, "Test again"),
    el("p", {}, "The check needs the secret again. This page keeps it in memory only."),
    missing.map(field),
    el(
      "div",
      {class: "actions"},
      el("button", {type: "submit", class: "primary", value: "ok"}, "Test"),
      el("button", {type: "submit", value: "cancel", formnovalidate: true}, "Cancel"),
    ),
  );
  const dialog = el("dialog", {"aria-labelledby": "secret-heading"}, form);
  document.body.append(dialog);
  return new Promise((resolve) => {
    dialog.addEventListener("close", () => {
      const entered = missing.map((name) => [name, form.elements.namedItem(name).value]);
      resolve(dialog.returnValue === "ok" ? {...known, ...Object.fromEntries(entered)} : null);
      dialog.remove();
    });
    dialog.showModal();
  });
}
