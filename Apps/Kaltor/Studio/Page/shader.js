// The editor for shader files: compiles while one types, with errors at their lines and the uniforms as controls.
import { getJson, post } from "./api.js";
import { ask } from "./dialogs.js";
import { h, later } from "./dom.js";
import { makeControl } from "./fields.js";
import { declaredField } from "./forms.js";
import { icon } from "./icons.js";
import { asField } from "./model.js";
import { setAt } from "./state.js";
import { strings } from "./strings.js";

const kNewShader = {
    effect: `// Tints the picture, more towards the right.

uniform float strength; // = 0.8; // 0 to 1: how much of it is mixed in
uniform vec3 tint_color; // = vec3(1.0, 0.6, 0.3); // colour that is mixed in

vec4 effect(vec2 uv) {
    vec4 color = getColor(uv);
    return vec4(mix(color.rgb, color.rgb * tint_color, strength * uv.x), color.a);
}
`,
    transition: `// The second picture wipes in with a soft edge.

uniform float softness; // = 0.1; // 0.01 to 1: how soft the edge is

vec4 transition(vec2 uv) {
    float edge = progress * (1.0 + softness);
    return mix(getToColor(uv), getFromColor(uv), smoothstep(edge - softness, edge, uv.x));
}
`,
};

const kWords = /(\/\/[^\n]*|\/\*[\s\S]*?\*\/)|\b(uniform|const|float|int|bool|vec[234]|ivec[234]|mat[234]|sampler2D|void|return|if|else|for|while|in|out|inout|true|false)\b|\b(getColor|getFromColor|getToColor|progress|ratio|time|resolution|effect|transition|mix|smoothstep|step|clamp|sin|cos|abs|pow|floor|fract|mod|length|distance|dot|normalize|texture2D|min|max|exp|sqrt)\b|\b(\d+\.?\d*(?:e[+-]?\d+)?)\b/g;

/** Opens in the place for it. `file` is {path, isKnown, kind}; a new one has no path yet on the disk. */
export function makeShaderEditor(root, app, file) {
    const { state } = app;
    let path = file.path;
    let saved = null;
    let revision = null;
    let good = null;
    const area = h("textarea", { class: "code", spellcheck: "false", autocomplete: "off", autocapitalize: "off", wrap: "off", "aria-label": strings.shader.source, oninput: typed, onscroll: follow, onkeydown: keys });
    const colours = h("pre", { class: "code-colours", "aria-hidden": "true" });
    const numbers = h("pre", { class: "code-numbers", "aria-hidden": "true" });
    const errors = h("ol", { class: "code-errors", role: "status", "aria-label": strings.shader.errors });
    const status = h("span", { class: "code-status" });
    const controls = h("div", { class: "code-controls" });
    const name = h("span", { class: "code-name" }, path);
    const saveButton = h("button", { type: "button", class: "button", onclick: save }, icon("save", 16), strings.actions.save);
    const use = h("button", { type: "button", class: "button primary", onclick: apply }, icon("plus", 16), file.kind === "transition" ? strings.shader.useTransition : strings.shader.useEffect);
    root.replaceChildren(
        h("header", { class: "code-head" }, icon("shaders", 18), name, status, h("span", { class: "spacer" }), use, saveButton, h("button", { type: "button", class: "plain", title: strings.actions.close, "aria-label": strings.shader.close, onclick: close }, icon("close"))),
        h("div", { class: "code-box" }, numbers, h("div", { class: "code-text" }, colours, area)),
        errors,
        controls,
    );
    root.hidden = false;

    function paint(wrong = []) {
        const source = area.value;
        const parts = [];
        let at = 0;
        for (const match of source.matchAll(kWords)) {
            parts.push(source.slice(at, match.index), h("span", { class: ["", "c", "k", "f", "n"][match.slice(1).findIndex((group) => group !== undefined) + 1] }, match[0]));
            at = match.index + match[0].length;
        }
        parts.push(source.slice(at), "\n");
        colours.replaceChildren(...parts);
        const lines = source.split("\n").length;
        numbers.replaceChildren(...Array.from({ length: lines }, (_, i) => h("span", { class: wrong.includes(i + 1) ? "wrong" : null }, `${i + 1}\n`)));
        follow();
    }
    function follow() {
        colours.scrollTop = area.scrollTop;
        colours.scrollLeft = area.scrollLeft;
        numbers.scrollTop = area.scrollTop;
    }

    function keys(event) {
        event.stopPropagation();
        if (event.key === "Tab" && !event.shiftKey && !event.altKey) {
            event.preventDefault();
            area.setRangeText("    ", area.selectionStart, area.selectionEnd, "end");
            typed();
        } else if (event.key === "Escape") {
            // Tab writes a tab here: Escape leaves.
            saveButton.focus();
        } else if ((event.ctrlKey || event.metaKey) && event.key === "s") {
            event.preventDefault();
            save();
        }
    }

    let order = 0;
    const compile = later(250, async () => {
        const source = area.value;
        const own = ++order;
        let found;
        try {
            found = await post("shader", { source, name: path });
        } catch (error) {
            found = { errors: [{ line: null, message: error.message }] };
        }
        if (own !== order) return;
        const list = found.errors ?? [];
        paint(list.map((error) => error.line));
        errors.replaceChildren(...list.map(({ line, message }) => h("li", {}, h("button", { type: "button", onclick: () => goTo(line) }, line ? h("b", {}, strings.shader.line(line)) : null, " ", message))));
        status.className = `code-status ${list.length ? "bad" : "good"}`;
        status.textContent = list.length ? strings.shader.wrong(list.length) : strings.shader.compiles;
        if (list.length) return;
        good = { source, kind: found.kind, fields: (found.fields ?? []).map(asField) };
        use.replaceChildren(icon("plus", 16), found.kind === "transition" ? strings.shader.useTransition : strings.shader.useEffect);
        showControls();
        // A file that is in use shows what is typed as soon as it compiles.
        if (users().length && source !== saved) await write(source);
    });

    function goTo(line) {
        if (!line) return;
        const lines = area.value.split("\n");
        const start = lines.slice(0, line - 1).reduce((sum, text) => sum + text.length + 1, 0);
        area.focus();
        area.setSelectionRange(start, start + lines[line - 1].length);
        area.scrollTop = Math.max(0, (line - 4) * 18);
    }

    /** Where the document uses this file. */
    function users() {
        const found = [];
        const visit = (node, at) => {
            if (node === null || typeof node !== "object") return;
            if (node.effect === path || node.transition === path) found.push(at);
            for (const [key, value] of Object.entries(node)) visit(value, [...at, Array.isArray(node) ? Number(key) : key]);
        };
        visit(state.document, []);
        return found;
    }

    let gesture = 0;
    function showControls() {
        if (!good?.fields.length) {
            controls.replaceChildren(h("p", { class: "muted" }, strings.shader.noUniforms));
            return;
        }
        const place = users()[0] ?? null;
        const rows = good.fields.map((field) => {
            const spec = declaredField(field);
            const control = makeControl(spec, (value, isLive) => {
                const now = users()[0];
                if (!now) {
                    control.show(value);
                    return;
                }
                state.change(strings.steps.set(spec.label), (document) => setAt(document, [...now, spec.key], value), { gesture: `uniform${gesture}` });
                control.show(value);
                if (!isLive) {
                    ++gesture;
                    state.endGesture();
                }
            }, { rate: app.rate, chooseFile: app.chooseFile });
            const own = place && place.reduce((node, key) => node?.[key], state.document)?.[spec.key];
            control.show(typeof own === "object" && !Array.isArray(own) ? undefined : own);
            return h("div", { class: "row" }, h("span", { class: "label", title: spec.help }, spec.label), control.element);
        });
        controls.replaceChildren(h("h3", {}, strings.shader.uniforms), place ? null : h("p", { class: "muted" }, strings.shader.notUsed), ...rows.filter(Boolean));
        if (!place) controls.querySelectorAll("input, select, button").forEach((input) => (input.disabled = true));
    }

    function typed() {
        paint();
        name.textContent = area.value === saved ? path : `${path} •`;
        compile();
    }

    async function write(source) {
        try {
            let answer;
            try {
                answer = await post("shader/save", { path, source, revision, overwrite: false });
            } catch (error) {
                if (error.status !== 409) throw error;
                const choice = await ask(strings.saving.overwriteTitle, error.message, [
                    { label: strings.actions.cancel, value: "" },
                    { label: strings.saving.overwrite, value: "yes", danger: true },
                ]);
                if (!choice) return false;
                answer = await post("shader/save", { path, source, revision, overwrite: true });
            }
            path = answer?.path ?? path;
            revision = answer?.revision ?? null;
            saved = source;
            name.textContent = path;
            if (good) app.shaderSaved({ name: path, kind: good.kind, fields: good.fields, help: "", origin: "shader", usualNames: [], file: path });
            return true;
        } catch (error) {
            app.toast(error.message, "error");
            return false;
        }
    }
    async function save() {
        if (await write(area.value)) app.toast(strings.shader.saved(path));
    }
    async function apply() {
        if (!good) return;
        if (area.value !== saved && !(await write(area.value))) return;
        app.applyEntry({ name: path, kind: good.kind, fields: good.fields, title: path.replace(/\.glsl$/, ""), help: "", isShader: true });
        showControls();
    }
    function close() {
        if (area.value !== saved && saved !== null) app.toast(strings.shader.unsaved);
        root.hidden = true;
        root.replaceChildren();
        app.shaderClosed();
    }

    (async () => {
        if (file.isKnown) {
            try {
                const found = await getJson("shader", { path });
                area.value = found.source;
                revision = found.revision ?? null;
                saved = area.value;
            } catch (error) {
                app.toast(error.message, "error");
                close();
                return;
            }
        } else {
            area.value = kNewShader[file.kind];
        }
        paint();
        compile();
        area.focus();
        area.setSelectionRange(0, 0);
    })();
    return { path: () => path, refresh: showControls };
}
