// What stands in front of the page: export, copying, saving under a name, choosing a file, the list of shortcuts.
import { getJson, post } from "./api.js";
import { copyText, h, setStyle, store } from "./dom.js";
import { makeControl } from "./fields.js";
import { schemaField } from "./forms.js";
import { icon } from "./icons.js";
import { shortTime } from "./model.js";
import { strings } from "./strings.js";

/** A dialog with a title. It is closed by Escape, and gives the focus back to where it was. */
function openDialog(title, content, { buttons = [], className = "", onClose = null } = {}) {
    const heading = h("h2", { id: `dialog-${Math.random().toString(36).slice(2, 8)}` }, title);
    const dialog = h(
        "dialog",
        {
            class: className,
            "aria-labelledby": heading.id,
            onclose() {
                dialog.remove();
                onClose?.(dialog.returnValue);
            },
            onkeydown: (event) => event.stopPropagation(),
        },
        h("header", {}, heading, h("button", { type: "button", class: "plain", title: strings.actions.close, "aria-label": strings.actions.close, onclick: () => dialog.close("") }, icon("close"))),
        h("div", { class: "dialog-body" }, content),
        buttons.length ? h("footer", {}, buttons) : null,
    );
    document.body.append(dialog);
    dialog.showModal();
    return dialog;
}

export const button = (text, action, { primary = false, danger = false, iconName = null } = {}) =>
    h("button", { type: "button", class: `button${primary ? " primary" : ""}${danger ? " danger" : ""}`, onclick: action }, iconName ? icon(iconName, 16) : null, text);

/** Resolves to the chosen button's value, null where the dialog is closed. */
export function ask(title, text, choices) {
    return new Promise((resolve) => {
        const dialog = openDialog(title, h("p", {}, text), {
            className: "small",
            buttons: choices.map(({ label, value, primary, danger }) => button(label, () => dialog.close(value), { primary, danger })),
            onClose: (value) => resolve(value || null),
        });
        dialog.querySelector(".primary")?.focus();
    });
}

/** Resolves to a text that somebody types, null where they do not. */
export function askText(title, label, value, help = "") {
    return new Promise((resolve) => {
        const input = h("input", { type: "text", value, spellcheck: "false", "aria-label": label, onkeydown(event) {
            if (event.key !== "Enter" || !input.value.trim()) return;
            // Otherwise the button that gets the focus back would be pressed, too.
            event.preventDefault();
            dialog.close("ok");
        } });
        const dialog = openDialog(title, h("label", { class: "stacked" }, h("span", {}, label), input, help ? h("span", { class: "muted" }, help) : null), {
            className: "small",
            buttons: [button(strings.actions.cancel, () => dialog.close("")), button(strings.actions.ok, () => input.value.trim() && dialog.close("ok"), { primary: true })],
            onClose: (result) => resolve(result ? input.value.trim() : null),
        });
        input.focus();
        const dot = value.lastIndexOf(".");
        input.setSelectionRange(0, dot > 0 ? dot : value.length);
    });
}

export function chooseFile(kinds = null) {
    return new Promise((resolve) => {
        let chosen = null;
        const list = h("div", { class: "chooser" });
        const trail = h("p", { class: "muted" });
        const dialog = openDialog(strings.chooser.title, [trail, list], { className: "medium", onClose: () => resolve(chosen) });
        async function open(folder) {
            try {
                const listing = await getJson("files", { folder });
                trail.textContent = folder || strings.chooser.folder;
                const path = (entry) => entry.path ?? (folder ? `${folder}/${entry.name}` : entry.name);
                const rows = listing.entries
                    .filter((entry) => entry.kind === "folder" || !kinds || kinds.includes(entry.kind))
                    .map((entry) =>
                        h("button", { type: "button", class: "file", onclick: () => {
                            if (entry.kind === "folder") open(folder ? `${folder}/${entry.name}` : entry.name);
                            else {
                                chosen = path(entry);
                                dialog.close("ok");
                            }
                        } }, h("span", { class: "file-icon" }, icon({ folder: "folder", video: "film", picture: "picture", sound: "sound", subtitles: "subtitles", shader: "shaders" }[entry.kind] ?? "file", 20)), h("span", { class: "file-name" }, entry.name)));
                if (folder) rows.unshift(h("button", { type: "button", class: "file", onclick: () => open(folder.split("/").slice(0, -1).join("/")) }, h("span", { class: "file-icon" }, icon("up", 20)), h("span", { class: "file-name" }, "..")));
                list.replaceChildren(...(rows.length ? rows : [h("p", { class: "muted" }, strings.chooser.none)]));
                list.querySelector("button")?.focus();
            } catch (error) {
                list.replaceChildren(h("p", { class: "problem" }, error.message));
            }
        }
        open("");
    });
}

export async function showCopy(app) {
    let found;
    try {
        found = await post("command", { document: app.state.document });
    } catch (error) {
        app.toast(error.message, "error");
        return;
    }
    const part = (title, text, help) => {
        const done = button(strings.actions.copy, async () => {
            const isDone = await copyText(text);
            done.lastChild.textContent = isDone ? strings.copy.done : strings.copy.failed;
            app.announce(done.lastChild.textContent);
        }, { iconName: "copy" });
        return h("section", { class: "copy-part" }, h("header", {}, h("h3", {}, title), done), help ? h("p", { class: "muted" }, help) : null, h("pre", { tabindex: "0" }, text));
    };
    openDialog(strings.copy.title, [
        found.command ? part(strings.copy.command, found.command) : h("section", { class: "copy-part" }, h("h3", {}, strings.copy.command), h("p", { class: "muted" }, strings.copy.noCommand)),
        part(strings.copy.json, typeof found.json === "string" ? found.json : JSON.stringify(found.json, null, 2)),
    ], { className: "wide" });
}

export function showShortcuts() {
    openDialog(strings.shortcuts.title, h("div", { class: "shortcuts" }, strings.shortcuts.groups.map(({ name, keys }) =>
        h("section", {}, h("h3", {}, name), h("dl", {}, keys.map(([key, what]) => h("div", {}, h("dt", {}, key.split(" ").map((part) => (part === "/" || part === "or" ? h("span", { class: "muted" }, ` ${part} `) : h("kbd", {}, part)))), h("dd", {}, what))))))), { className: "wide" });
}

const kEndings = { web: "mp4", small: "webm", archive: "mkv", prores: "mov", gif: "gif", webp: "webp" };
const kSizes = ["", "3840x2160", "2560x1440", "1920x1080", "1280x720", "854x480", "1080x1920", "1080x1080"];

/** The export: every option of the output, then its progress. */
export function showExport(app) {
    const { state, schema } = app;
    const session = app.session;
    const saved = store.get("studio-export", {});
    const base = (state.get("path") ?? "video.json").replace(/\.json$/, "").split("/").at(-1);
    const output = { ...state.document.output };
    const options = {};
    let useFor = output.for ?? saved.for ?? "web";
    const nameInput = h("input", { type: "text", value: `${base}.${kEndings[useFor] ?? "mp4"}`, spellcheck: "false", "aria-label": strings.exporting.file });
    const profiles = (session.outputs?.profiles?.length ? session.outputs.profiles : Object.keys(kEndings)).map((profile) => (typeof profile === "string" ? { name: profile } : profile));
    const cards = h("div", { class: "profiles", role: "radiogroup", "aria-label": strings.exporting.use }, profiles.map(({ name, help }) => {
        const input = h("input", { type: "radio", name: "profile", value: name, checked: name === useFor, onchange: () => {
            useFor = name;
            nameInput.value = nameInput.value.replace(/\.[^.]*$/, `.${kEndings[name] ?? "mp4"}`);
            showCodecs();
        } });
        return h("label", {}, input, h("span", {}, h("strong", {}, strings.exporting.profiles[name]?.[0] ?? name), h("small", {}, strings.exporting.profiles[name]?.[1] ?? help ?? "")));
    }));
    const list = h("datalist", { id: "codec-names" });
    const showCodecs = () => {
        const all = session.outputs?.codecs ?? {};
        const names = all[nameInput.value.split(".").at(-1).toLowerCase()] ?? [...new Set(Object.values(all).flat())];
        list.replaceChildren(...names.map((codec) => h("option", { value: codec })));
    };
    showCodecs();
    nameInput.addEventListener("change", showCodecs);

    const row = (key, extra = {}) => {
        const spec = schemaField(schema, "output", key, extra);
        if (!spec) return null;
        const control = makeControl(spec, (value) => {
            if (value === undefined) delete options[key];
            else options[key] = value;
            control.show(options[key] ?? output[key]);
        }, { rate: app.rate, chooseFile });
        control.show(output[key]);
        const element = h("div", { class: "row" }, h("span", { class: "label", title: spec.help }, spec.label), control.element);
        if (key === "codec") element.querySelector("input")?.setAttribute("list", "codec-names");
        return element;
    };
    const sizes = h("datalist", { id: "size-names" }, kSizes.filter(Boolean).map((size) => h("option", { value: size })));
    const sizeRow = row("size", { isText: true, placeholder: state.get("plan") ? `${state.get("plan").width}x${state.get("plan").height}` : "" });
    sizeRow?.querySelector("input").setAttribute("list", "size-names");
    const pairs = (key, placeholder) => {
        const area = h("textarea", { rows: 3, placeholder, "aria-label": strings.keys[key], spellcheck: "false", onchange: () => {
            const lines = area.value.split("\n").map((line) => /^\s*([^=]+)=(.*)$/.exec(line)).filter(Boolean);
            if (lines.length) options[key] = Object.fromEntries(lines.map(([, name, value]) => [name.trim(), value.trim()]));
            else delete options[key];
        } });
        area.value = Object.entries(output[key] ?? {}).map(([name, value]) => `${name}=${value}`).join("\n");
        return h("div", { class: "row wide" }, h("span", { class: "label" }, strings.keys[key]), h("div", { class: "control" }, area));
    };
    const overwrite = h("input", { type: "checkbox", id: "export-overwrite", checked: Boolean(saved.overwrite) });
    const problem = h("p", { class: "problem", role: "alert", hidden: true });
    const progress = h("div", { class: "export-progress", hidden: true });
    const form = h(
        "div",
        { class: "export-form" },
        h("label", { class: "stacked" }, h("span", {}, strings.exporting.file), nameInput),
        cards,
        h("details", { class: "section", open: Boolean(saved.open) }, h("summary", {}, icon("next", 14), h("span", { class: "section-title" }, strings.exporting.picture)), h("div", { class: "section-body" },
            sizeRow, row("fps"), row("codec", { isText: true, placeholder: strings.fields.automatic }), row("crf"), row("bitrate"), row("preset", { isText: false }), row("pixelFormat", { isText: true }), row("gop"), row("depth"), row("hdr"), row("alpha", { isText: true }), list, sizes)),
        h("details", { class: "section" }, h("summary", {}, icon("next", 14), h("span", { class: "section-title" }, strings.exporting.sound)), h("div", { class: "section-body" }, row("audioCodec", { isText: true }), row("audioBitrate"))),
        h("details", { class: "section" }, h("summary", {}, icon("next", 14), h("span", { class: "section-title" }, strings.exporting.more)), h("div", { class: "section-body" }, row("format", { isText: true }), row("seed"), row("firstNumber"), row("chapters"), pairs("metadata", "title=Holidays\nartist=Anna"), session.trusted ? pairs("encoderOptions", "tune=film") : null)),
        h("label", { class: "check" }, overwrite, strings.exporting.overwrite),
        problem,
    );
    const start = button(strings.exporting.start, run, { primary: true, iconName: "export" });
    const cancel = button(strings.actions.cancel, () => dialog.close(""));
    let job = null;
    let timer = 0;
    const dialog = openDialog(strings.exporting.title, [form, progress], {
        className: "export",
        buttons: [cancel, start],
        onClose: () => clearTimeout(timer),
    });
    nameInput.focus();
    nameInput.setSelectionRange(0, nameInput.value.lastIndexOf("."));

    async function run() {
        problem.hidden = true;
        store.set("studio-export", { for: useFor, overwrite: overwrite.checked, open: form.querySelector("details").open });
        start.disabled = true;
        try {
            const answer = await post("export", { document: state.document, output: nameInput.value.trim(), options: { ...options, for: useFor }, overwrite: overwrite.checked });
            job = answer.job;
        } catch (error) {
            problem.hidden = false;
            problem.textContent = error.message;
            start.disabled = false;
            return;
        }
        form.hidden = true;
        progress.hidden = false;
        start.hidden = true;
        cancel.replaceChildren(strings.exporting.cancel);
        cancel.onclick = async (event) => {
            event.stopImmediatePropagation();
            await post(`export/${job}/cancel`, {}).catch(() => {});
        };
        const bar = h("div", { class: "progress", role: "progressbar", "aria-valuemin": 0, "aria-valuemax": 100, "aria-label": strings.exporting.title }, h("span", {}));
        const line = h("p", { class: "progress-line", role: "status" }, strings.exporting.starting);
        const detail = h("p", { class: "muted" });
        const mark = h("div", { class: "done-mark" });
        progress.replaceChildren(mark, line, bar, detail);
        app.setExporting(true);
        const poll = async () => {
            let now;
            try {
                now = await getJson(`export/${job}`);
            } catch (error) {
                now = { state: "failed", error: error.message };
            }
            const share = now.frames ? now.frame / now.frames : 0;
            setStyle(bar.firstChild, { width: `${share * 100}%` });
            bar.setAttribute("aria-valuenow", Math.round(share * 100));
            if (now.state === "running" || now.state === "waiting") {
                line.textContent = strings.exporting.running(Math.round(share * 100));
                detail.textContent = now.fps ? strings.exporting.detail(now.frame, now.frames, now.fps.toFixed(1), now.secondsLeft === null || now.secondsLeft === undefined ? "" : shortTime(now.secondsLeft)) : "";
                timer = setTimeout(poll, 300);
                return;
            }
            app.setExporting(false);
            const isDone = now.state === "done";
            mark.replaceChildren(icon(isDone ? "check" : "warning", 34));
            mark.className = `done-mark ${now.state}`;
            bar.hidden = !isDone;
            line.textContent = isDone ? strings.exporting.done : now.state === "cancelled" ? strings.exporting.cancelled : strings.exporting.failed;
            detail.textContent = isDone ? (now.output ?? nameInput.value) : (now.error ?? "");
            app.announce(line.textContent);
            app.libraryChanged();
            const again = button(strings.exporting.again, () => {
                dialog.close("");
                showExport(app);
            });
            const close = button(strings.actions.close, () => dialog.close(""), { primary: true });
            dialog.querySelector("footer").replaceChildren(again, close);
            close.focus();
        };
        poll();
    }
}
