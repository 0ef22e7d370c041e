// A run as it happens: its stage, the checks running and finished, from the run's live events.

import * as api from "./api.js";
import {alertBox, badge, el, showView} from "./dom.js";

// Follows RUN until its report, then shows the report in its place. Returns the function that
// stops following (when the page leaves this view).
export function showProgress(run) {
  const status = el("p", {class: "stage", role: "status"}, "Waiting for the first stage…");
  const bar = el("progress", {max: 1, value: 0, "aria-label": "Stages"});
  const finished = el("p", {class: "note"});
  const checks = el("ol", {class: "checks-live", "aria-label": "Checks"});
  const error = alertBox();
  const cancel = el("button", {type: "button"}, "Cancel the run");
  const rows = new Map();

  // Shows check ID in STATE; a check seen for the first time gets a row of its own.
  const update = (id, title, state, code) => {
    if (!rows.has(id)) rows.set(id, {item: checks.appendChild(el("li")), title: id});
    const row = rows.get(id);
    row.title = title ?? row.title;
    row.state = state;
    const codeText = code === undefined ? "" : ` code ${code}`;
    row.item.replaceChildren(badge(state), " ", row.title, " ", el("span", {class: "check-id"}, id), codeText);
    const done = [...rows.values()].filter((each) => each.state !== "running").length;
    finished.textContent = `${done} of the ${rows.size} checks started so far have finished.`;
  };

  const stop = api.followRun(run, {
    stage({stage, index, count}) {
      bar.max = count;
      bar.value = index;
      status.textContent = `Stage ${index + 1} of ${count}: ${stage}`;
    },
    "check-started"({id, title}) {
      update(id, title, "running");
    },
    "check-finished"(check) {
      update(check.id, check.title, check.status, check.code);
    },
    report(report) {
      bar.value = bar.max;
      location.replace(`#/report/${report.run}`);
    },
    lost() {
      error.textContent = "The connection to the run was lost. Its report is in the history once it ends.";
    },
  });
  cancel.addEventListener("click", async () => {
    cancel.disabled = true;
    try {
      await api.cancelRun(run);
      status.textContent = "Cancelling: the checks running now finish first.";
    } catch (failure) {
      error.textContent = failure.message;
      cancel.disabled = false;
    }
  });
  showView(
    "Diagnosis running",
    el("p", {class: "note"}, `Run ${run}`),
    status,
    bar,
    finished,
    error,
    el("h2", {}, "Checks"),
    checks,
    el("div", {class: "actions"}, cancel),
  );
  return stop;
}
