// A run's report: summary, root causes, the domain controller matrix, and every check with its
// meaning, what to do, help links, findings and commands; each check can be tested again.

import * as api from "./api.js";
import {alertBox, badge, countsText, el, externalLink, showView} from "./dom.js";
import {keepSecrets, keptSecrets, secretLabel} from "./inputs.js";

const FAILED = new Set(["error", "warning"]);
const LEVELS = {0: "error", 1: "warning"};

export async function showReport(run) {
  const [report, types] = await Promise.all([api.report(run), api.testTypes()]);
  const type = types.find((candidate) => candidate.name === report.type) ?? {name: report.type, secrets: []};
  const announcer = el("p", {class: "visually-hidden", role: "status"});
  showView(
    `Report: ${report.type}`,
    summary(report),
    rootCauses(report),
    controllerMatrix(report),
    el("h2", {}, "Checks"),
    stages(report).map(([stage, checks]) =>
      el("section", {class: "stage-group"}, el("h3", {}, `Stage ${stage}`), checks.map((check) => checkEntry(report, type, check, announcer))),
    ),
    announcer,
  );
}

function summary(report) {
  const facts = [
    ["Status", badge(report.status)],
    ["Checks", countsText(report.counts)],
    ["Run", report.run],
    ["Started", `${report.started}, ${report.seconds} s`],
    ["Run bracket", report.bracket],
  ].filter(([, value]) => value !== undefined);
  return el(
    "section",
    {class: "card summary", "aria-label": "Summary"},
    !report.complete && el("p", {class: "error"}, "The run was interrupted: not every check ran."),
    definitions(facts),
    el("details", {}, el("summary", {}, "Inputs"), definitions(Object.entries(report.inputs ?? {}))),
    el("p", {}, el("a", {href: "#/history"}, "Compare with another run")),
  );
}

function definitions(pairs) {
  return el("dl", {class: "facts"}, pairs.map(([term, value]) => [el("dt", {}, term), el("dd", {}, findingValue(value))]));
}

function rootCauses(report) {
  if (!report.root_causes?.length) return null;
  const byText = new Map();
  for (const {cause, check, text} of report.root_causes) {
    if (!byText.has(text)) byText.set(text, {cause, effects: []});
    byText.get(text).effects.push(check);
  }
  return el(
    "section",
    {class: "card causes", "aria-labelledby": "causes-heading"},
    el("h2", {id: "causes-heading"}, "Root causes"),
    el(
      "ul",
      {},
      [...byText].map(([text, {cause, effects}]) =>
        el("li", {}, el("strong", {}, text), ` (found by ${cause}); the checks failing because of it: ${effects.join(", ")}`),
      ),
    ),
  );
}

const CELL_TEXT = {ok: "ok", fail: "failed", "-": "not tested"};

function controllerMatrix(report) {
  const matrix = report.controllers;
  if (!matrix?.controllers?.length) return null;
  const head = el("tr", {}, el("th", {scope: "col"}, "Controller"), matrix.checks.map((id) => el("th", {scope: "col"}, id)));
  const rows = matrix.controllers.map((host) =>
    el(
      "tr",
      {},
      el("th", {scope: "row"}, host),
      matrix.checks.map((id) => {
        const cell = matrix.cells[host]?.[id] ?? "-";
        return el("td", {class: `cell-${cell === "-" ? "none" : cell}`}, CELL_TEXT[cell] ?? cell);
      }),
    ),
  );
  return el(
    "section",
    {class: "card", "aria-labelledby": "matrix-heading"},
    el("h2", {id: "matrix-heading"}, "Domain controllers"),
    el(
      "div",
      {class: "scroll", tabindex: "0", role: "region", "aria-labelledby": "matrix-caption"},
      el("table", {class: "matrix"}, el("caption", {id: "matrix-caption"}, "Per controller, the checks that test each one"), el("thead", {}, head), el("tbody", {}, rows)),
    ),
  );
}

// The checks grouped by stage, in the report's order.
function stages(report) {
  const groups = new Map();
  for (const check of report.checks) {
    if (!groups.has(check.stage)) groups.set(check.stage, []);
    groups.get(check.stage).push(check);
  }
  return [...groups];
}

function checkEntry(report, type, check, announcer) {
  const code = check.code === undefined ? "" : `code ${check.code}`;
  const entry = el(
    "details",
    {class: `check check-${check.status}`, open: FAILED.has(check.status), "data-check": check.id},
    el("summary", {}, badge(check.status), " ", el("span", {class: "check-title"}, check.title ?? check.id), " ", el("span", {class: "check-id"}, check.id), el("span", {class: "code"}, code)),
    el("div", {class: "check-body"}, checkFacts(check), helpLinks(check.links), commands(check.commands), findings(check.findings), parameters(check.params)),
  );
  if (check.status !== "unavailable") entry.lastChild.append(recheckControl(report, type, check, entry, announcer));
  return entry;
}

function checkFacts(check) {
  const facts = [
    ["Code", check.code === undefined ? null : `${check.code} (${LEVELS[check.level] ?? `level ${check.level}`})`],
    ["Meaning", check.meaning],
    ["What to do", check.action],
    ["Failed hosts", check.hosts?.length ? check.hosts.join(", ") : null],
    ["Blocked by", check.blocked_by?.length ? check.blocked_by.join("; ") : null],
    ["Controllers tested", check.tried?.length ? check.tried.join(", ") : null],
    ["Not run because of", check.stopped_by],
    ["Method", `${check.api} ${check.method} v${check.version}`],
    ["Time", check.seconds === undefined ? null : `${check.seconds} s`],
  ];
  return definitions(facts.filter(([, value]) => value !== null && value !== undefined));
}

function helpLinks(links) {
  const entries = Object.entries(links ?? {});
  if (!entries.length) return null;
  return el("div", {class: "links"}, el("h4", {}, "Help"), el("ul", {}, entries.map(([, address]) => el("li", {}, externalLink(address)))));
}

function commands(list) {
  if (!list?.length) return null;
  return el("div", {}, el("h4", {}, "Commands to see it yourself"), list.map((command) => el("pre", {}, el("code", {}, command))));
}

function findings(value) {
  if (value === undefined || value === null || (typeof value === "object" && !Object.keys(value).length)) return null;
  return el("div", {}, el("h4", {}, "Findings"), findingValue(value));
}

function parameters(params) {
  if (!params || !Object.keys(params).length) return null;
  return el("details", {class: "params"}, el("summary", {}, "Parameters sent"), findingValue(params));
}

// Any JSON value as nested lists; text as text.
function findingValue(value) {
  if (value instanceof Node) return value;
  if (Array.isArray(value)) return value.length ? el("ul", {class: "values"}, value.map((item) => el("li", {}, findingValue(item)))) : "none";
  if (value !== null && typeof value === "object") return definitions(Object.entries(value));
  return value === null ? "none" : String(value);
}

// "Test again": one fresh call of the check; secrets the check takes come from this page's memory
// or are asked for, and are kept in memory only.
function recheckControl(report, type, check, entry, announcer) {
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
      const replacement = checkEntry(report, type, {...fresh, stage: check.stage}, announcer);
      replacement.open = true;
      entry.replaceWith(replacement);
      replacement.querySelector("summary").focus();
      announcer.textContent = `Tested again: ${fresh.title ?? fresh.id}: ${fresh.status}${fresh.code ? ` ${fresh.code}` : ""}`;
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
  const fields = missing.map((name) =>
    el(
      "div",
      {class: "field"},
      el("label", {for: `secret-${name}`}, secretLabel(typeName, name)),
      el("input", {id: `secret-${name}`, name, type: "password", autocomplete: "off", required: true}),
    ),
  );
  const form = el(
    "form",
    {method: "dialog"},
    el("h2", {}, "Test again"),
    el("p", {}, "The check needs the secret again. It is kept in this page only until you leave it."),
    fields,
    el("div", {class: "actions"}, el("button", {type: "submit", class: "primary", value: "ok"}, "Test"), el("button", {type: "submit", value: "cancel", formnovalidate: true}, "Cancel")),
  );
  const dialog = el("dialog", {"aria-label": "Test again"}, form);
  document.body.append(dialog);
  return new Promise((resolve) => {
    dialog.addEventListener("close", () => {
      const answer = dialog.returnValue === "ok" ? {...known, ...Object.fromEntries(missing.map((name) => [name, form.elements.namedItem(name).value]))} : null;
      dialog.remove();
      resolve(answer);
    });
    dialog.showModal();
  });
}
