// Choosing a test type, filling its inputs and starting the run.

import * as api from "./api.js";
import {alertBox, el, showView} from "./dom.js";
import {inputFields, isSecret, keepSecrets, readInputs, rememberInputs} from "./inputs.js";

const TYPE_TITLES = {
  domain_pretest: "Before joining an Active Directory domain",
  domain_posttest: "A server joined to an Active Directory domain",
  ldap_pretest: "Before binding to an LDAP server",
  ldap_posttest: "A server bound to an LDAP server",
  join: "Join an Active Directory domain",
};

const typeTitle = (name) => TYPE_TITLES[name] ?? name;

// The test type list, then the inputs of TYPENAME (or the first type).
export async function showStart(typeName) {
  const types = await api.testTypes();
  const chosen = types.find((candidate) => candidate.name === typeName) ?? types[0];
  let form = inputsForm(chosen);
  const chooser = typeChooser(types, chosen, (type) => {
    const next = inputsForm(type);
    form.replaceWith(next);
    form = next;
    history.replaceState(null, "", `#/new/${type.name}`);
  });
  showView("New diagnosis", chooser, form);
}

// The type list; a change of type calls changed(type) and keeps the focus on the list.
function typeChooser(types, chosen, changed) {
  const select = el(
    "select",
    {id: "test-type", name: "type"},
    types.map((type) =>
      el("option", {value: type.name, selected: type === chosen}, `${typeTitle(type.name)} (${type.name})`),
    ),
  );
  select.addEventListener("change", () => changed(types.find((type) => type.name === select.value)));
  return el("div", {class: "field card"}, el("label", {for: "test-type"}, "Test type"), select);
}

// Who holds the run bracket, from the module's refusal to open it (the other run's record).
function otherRun(refusal) {
  const record = refusal?.error?.details;
  if (!record?.runner) return "";
  const since = record.init_time ? ` since ${new Date(record.init_time * 1000).toLocaleString()}` : "";
  const from = record.client_ip ?? "an unknown address";
  return el("span", {class: "sub"}, `The other run: ${record.runner} from ${from}${since}.`);
}

function inputsForm(type) {
  const error = alertBox();
  const start = el("button", {type: "submit", class: "primary"}, type.name === "join" ? "Join" : "Start the diagnosis");
  const form = el(
    "form",
    {class: "card inputs", "aria-labelledby": "inputs-heading", novalidate: true},
    el("h2", {id: "inputs-heading"}, `Inputs: ${typeTitle(type.name)}`),
    inputFields(type),
    error,
    el("div", {class: "actions"}, start),
  );
  form.addEventListener("submit", async (event) => {
    event.preventDefault();
    error.textContent = "";
    start.disabled = true;
    try {
      const inputs = readInputs(type, form);
      rememberInputs(type, inputs);
      const run = await api.startRun(type.name, inputs);
      keepSecrets(run, Object.fromEntries(Object.entries(inputs).filter(([name]) => isSecret(type, name))));
      location.assign(`#/run/${run}`);
    } catch (failure) {
      error.replaceChildren(failure.message, otherRun(failure.answer?.refusal));
    } finally {
      start.disabled = false;
    }
  });
  return form;
}
