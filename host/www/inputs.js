// The inputs of the test types: what each means, how it is entered, and what the page remembers
// of it. Secrets are never written to storage; they live in memory for the page's life only.

import {el} from "./dom.js";

const TEXT = "text";
const SECRET = "secret";
const FLAG = "flag";
const CHOICE = "choice";
const LIST = "list";
const JSON_VALUE = "json";

// kind, label, help; "ldap" overrides label and help for the LDAP test types; "more": shown under
// "More settings".
const INPUTS = {
  server_address: {
    label: "Domain DNS name",
    help: "The Active Directory domain's DNS name, for example example.com.",
    ldap: {label: "LDAP server address", help: "The LDAP server's host name or IP address."},
  },
  server_type: {
    label: "Address type",
    help: '"domain" when the address above is the domain\'s DNS name; otherwise the address is resolved and asked.',
    value: "domain",
  },
  dns: {
    label: "DNS server addresses",
    help: "IP addresses of the DNS servers that serve the domain, separated by commas; the first one is asked.",
  },
  dc_ips: {
    label: "Domain controller addresses",
    help: "Optional. Addresses of the controllers to test, separated by commas; empty: those the domain's DNS names.",
  },
  username: {
    label: "Domain user name",
    help: "A domain account to log on with; for a join, one that may add computers to the domain.",
  },
  password: {kind: SECRET, label: "Password", help: "The domain account's password. It is never stored."},
  rwdc_fqdn_name: {
    label: "Writable domain controller",
    help: "Optional. The host name of a writable domain controller to use, for example dc1.example.com.",
    more: true,
  },
  pmtu_mode: {
    kind: FLAG,
    label: "Measure the path MTU",
    help: "Find the largest packet that reaches each controller, not only test the interface's MTU.",
    more: true,
  },
  ou_specified: {
    label: "Organizational unit",
    help: "Optional. The organizational unit for the computer account, for example Servers/Storage.",
    more: true,
  },
  register_nics: {
    kind: LIST,
    label: "Interfaces to register in DNS",
    help: 'Optional. Interface names separated by commas, or "all".',
    more: true,
  },
  manage_mode: {
    kind: CHOICE,
    label: "Trusted domains",
    help: "Whether the server also accepts the users of the domains the joined domain trusts.",
    options: [
      [0, "Accept the trusted domains' users"],
      [1, "Only the joined domain's users"],
    ],
    more: true,
  },
  base_dn: {label: "Base DN", help: "Where the entries are searched, for example dc=example,dc=com."},
  encryption: {
    kind: CHOICE,
    label: "Encryption",
    help: "How the connection to the LDAP server is protected.",
    options: [
      ["no", "None"],
      ["ssl", "SSL (LDAPS)"],
      ["start_tls", "StartTLS"],
    ],
  },
  bind_dn: {label: "Bind DN", help: "The account to bind with, for example cn=admin,dc=example,dc=com."},
  bind_pw: {kind: SECRET, label: "Bind password", help: "The bind account's password. It is never stored."},
  enable_client_certificate: {
    kind: FLAG,
    label: "Use the client certificate",
    help: "Present the server's client certificate to the LDAP server.",
    more: true,
  },
  profile_rules: {
    kind: JSON_VALUE,
    label: "Profile rules",
    help:
      'Optional. A JSON array of rules that map the schema, each {"category", "attribute", "target"}, ' +
      'for example [{"category": "passwd", "attribute": "uid", "target": "uid"}].',
  },
  modify_user_profile: {
    kind: FLAG,
    label: "Use the user settings below",
    help: "Search users with the filter and attributes below instead of the profile's.",
    more: true,
  },
  profile_user_filter: {label: "User filter", help: "For example (objectClass=posixAccount).", more: true},
  profile_user_uid: {label: "User name attribute", help: "For example uid.", more: true},
  profile_user_uid_number: {label: "User ID attribute", help: "For example uidNumber.", more: true},
  modify_group_profile: {
    kind: FLAG,
    label: "Use the group settings below",
    help: "Search groups with the filter and attributes below instead of the profile's.",
    more: true,
  },
  profile_group_filter: {label: "Group filter", help: "For example (objectClass=posixGroup).", more: true},
  profile_group_cn: {label: "Group name attribute", help: "For example cn.", more: true},
  profile_group_gid_number: {label: "Group ID attribute", help: "For example gidNumber.", more: true},
  enable_cifs_pam: {
    kind: FLAG,
    label: "SMB logons through PAM",
    help: "SMB clients log on through PAM, so the Samba schema and the NT passwords are not checked.",
    more: true,
  },
  enable_idmap: {
    kind: FLAG,
    label: "ID mapping",
    help: "The server maps user and group IDs itself, so duplicate user IDs are not checked.",
    more: true,
  },
};

// The description of input NAME for the test type TYPENAME; an input the page does not know is text.
function describe(typeName, name) {
  const known = INPUTS[name] ?? {label: name, help: ""};
  const overrides = typeName.startsWith("ldap") ? known.ldap : undefined;
  return {kind: TEXT, ...known, ...overrides};
}

export const isSecret = (type, name) =>
  type.secrets.includes(name) || describe(type.name, name).kind === SECRET;

const storageKey = (type) => `dscheck.inputs.${type}`;

function recalled(type) {
  try {
    return JSON.parse(localStorage.getItem(storageKey(type))) ?? {};
  } catch {
    return {};
  }
}

// Keeps the entered values of TYPE (test-type object) for next time, secrets left out.
export function rememberInputs(type, values) {
  const kept = Object.fromEntries(Object.entries(values).filter(([name]) => !isSecret(type, name)));
  try {
    localStorage.setItem(storageKey(type.name), JSON.stringify(kept));
  } catch {
    // Storage full or disabled: the values are simply not remembered.
  }
}

const secretsOfRuns = new Map();

export function keepSecrets(run, secrets) {
  secretsOfRuns.set(run, secrets);
}

export function keptSecrets(run) {
  return secretsOfRuns.get(run) ?? {};
}

function control(id, name, description, value, helpId) {
  const common = {id, name, "aria-describedby": helpId};
  switch (description.kind) {
    case SECRET:
      return el("input", {...common, type: "password", autocomplete: "off"});
    case FLAG:
      return el("input", {...common, type: "checkbox", checked: value === true});
    case CHOICE:
      return el(
        "select",
        common,
        description.options.map(([option, text]) =>
          el("option", {value: String(option), selected: String(option) === String(value)}, text),
        ),
      );
    case JSON_VALUE:
      return el("textarea", {...common, rows: 4}, value === undefined ? "" : JSON.stringify(value));
    case LIST:
      return el("input", {...common, type: "text", value: Array.isArray(value) ? value.join(", ") : ""});
    default:
      return el("input", {...common, type: "text", value: value ?? "", spellcheck: "false"});
  }
}

// One labelled field of the form, with its help text as the control's description.
function field(type, name, value) {
  const description = describe(type.name, name);
  const id = `input-${name}`;
  const helpId = description.help ? `${id}-help` : null;
  const input = control(id, name, description, value ?? description.value, helpId);
  const label = el("label", {for: id}, description.label);
  const help = helpId && el("p", {id: helpId, class: "help"}, description.help);
  const className = description.kind === FLAG ? "field field-flag" : "field";
  return el("div", {class: className}, description.kind === FLAG ? [input, label] : [label, input], help);
}

// The fields of a test type: the main ones, then the rest under "More settings", open when one of
// them holds a remembered value.
export function inputFields(type) {
  const values = recalled(type.name);
  const names = (more) => type.inputs.filter((name) => Boolean(describe(type.name, name).more) === more);
  const fields = (list) => list.map((name) => field(type, name, values[name]));
  const extra = names(true);
  if (!extra.length) return fields(names(false));
  const open = extra.some((name) => values[name] !== undefined && values[name] !== false);
  const more = el("details", {class: "more", open}, el("summary", {}, "More settings"), fields(extra));
  return [fields(names(false)), more];
}

// The values of the form's fields as the run takes them: empty fields left out, flags as booleans,
// lists as arrays, JSON parsed. Throws an Error naming the field whose JSON does not parse.
export function readInputs(type, form) {
  const values = {};
  for (const name of type.inputs) {
    const input = form.elements.namedItem(name);
    const description = describe(type.name, name);
    if (description.kind === FLAG) {
      values[name] = input.checked;
      continue;
    }
    const text = input.value.trim();
    if (text === "") continue;
    if (description.kind === LIST) values[name] = text.split(",").map((item) => item.trim()).filter(Boolean);
    else if (description.kind === CHOICE) values[name] = optionValue(description, text);
    else if (description.kind === JSON_VALUE) values[name] = parseJson(text, description.label, input);
    else values[name] = description.kind === SECRET ? input.value : text;
  }
  return values;
}

// The option of a choice whose text form is TEXT, as its own type (numbers stay numbers).
const optionValue = (description, text) => description.options.find(([option]) => String(option) === text)[0];

function parseJson(text, label, input) {
  try {
    return JSON.parse(text);
  } catch (error) {
    input.closest("details")?.setAttribute("open", "");
    input.focus();
    throw new Error(`${label}: not valid JSON (${error.message}).`);
  }
}

// The label of a secret input, for asking it again.
export const secretLabel = (typeName, name) => describe(typeName, name).label;
