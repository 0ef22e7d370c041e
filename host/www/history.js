// The kept runs, newest first, and the differences between two of them.

import * as api from "./api.js";
import {alertBox, badge, countsText, el, showView} from "./dom.js";

export async function showHistory() {
  const runs = await api.runs();
  if (!runs.length) {
    showView("History", el("p", {}, "No run yet. ", el("a", {href: "#/new"}, "Start a diagnosis.")));
    return;
  }
  const error = alertBox();
  const form = el(
    "form",
    {class: "card"},
    el(
      "div",
      {class: "scroll", tabindex: "0", role: "region", "aria-labelledby": "history-caption"},
      el(
        "table",
        {class: "history"},
        el("caption", {id: "history-caption"}, "Runs, newest first. Choose an earlier and a later run to compare."),
        headRow(["Run", "Result", "Earlier", "Later"]),
        el("tbody", {}, runs.map((run, index) => historyRow(run, index))),
      ),
    ),
    error,
    el("div", {class: "actions"}, el("button", {type: "submit"}, "Compare")),
  );
  form.addEventListener("submit", (event) => {
    event.preventDefault();
    const earlier = form.elements.namedItem("earlier").value;
    const later = form.elements.namedItem("later").value;
    if (!earlier || !later || earlier === later) {
      error.textContent = "Choose two different runs to compare.";
      return;
    }
    location.assign(`#/diff/${earlier}/${later}`);
  });
  showView("History", form);
}

// One run: its report link, and its choices as the earlier (the second newest by default) and the
// later run (the newest) of a comparison.
function historyRow(run, index) {
  const choice = (name, checked) =>
    el(
      "label",
      {class: "choice"},
      el("input", {type: "radio", name, value: run.run, checked}),
      el("span", {class: "visually-hidden"}, `${name} run: ${run.run}`),
    );
  return el(
    "tr",
    {},
    el(
      "th",
      {scope: "row"},
      el("a", {href: `#/report/${run.run}`}, run.started ?? run.run),
      el("span", {class: "sub"}, run.type),
    ),
    el("td", {}, badge(run.status), el("span", {class: "sub"}, countsText(run.counts))),
    el("td", {}, choice("earlier", index === 1)),
    el("td", {}, choice("later", index === 0)),
  );
}

const headRow = (names) => el("thead", {}, el("tr", {}, names.map((name) => el("th", {scope: "col"}, name))));

const CHANGE_ORDER = ["worse", "new", "changed", "gone", "better"];

export async function showDiff(earlier, later) {
  const diff = await api.diff(earlier, later);
  const rank = (change) => CHANGE_ORDER.indexOf(change.change);
  const changes = [...diff.changes].sort((a, b) => rank(a) - rank(b));
  const runLink = (run) => el("a", {href: `#/report/${run}`}, run);
  const table = el(
    "div",
    {class: "scroll", tabindex: "0", role: "region", "aria-labelledby": "diff-caption"},
    el(
      "table",
      {class: "diff"},
      el("caption", {id: "diff-caption"}, "Checks whose result changed"),
      headRow(["Check", "Change", "Before", "After"]),
      el(
        "tbody",
        {},
        changes.map((change) =>
          el(
            "tr",
            {class: `change-${change.change}`},
            el("th", {scope: "row"}, change.id),
            el("td", {}, badge(change.change)),
            el("td", {}, change.before || "–"),
            el("td", {}, change.after || "–"),
          ),
        ),
      ),
    ),
  );
  showView(
    "Differences",
    el("p", {}, "From ", runLink(diff.before), " to ", runLink(diff.after), "."),
    el("section", {class: "card"}, changes.length ? table : el("p", {}, "No check changed.")),
  );
}
