// What can be added: files, effects, transitions, looks, shader files and titles.
import { cardUrl, getJson, thumbnailUrl } from "./api.js";
import { h, later, setStyle } from "./dom.js";
import { icon } from "./icons.js";
import { shortTime } from "./model.js";
import { strings } from "./strings.js";

const kTabs = ["media", "effects", "transitions", "looks", "shaders", "titles"];

const kTitlePresets = [
    { id: "title", title: { text: "", style: "title", animation: "fade" } },
    { id: "subtitle", title: { text: "", style: "subtitle", animation: "fade" } },
    { id: "lowerThird", title: { text: "", style: "lower-third", animation: "rise" } },
    { id: "caption", title: { text: "", style: "caption" } },
    { id: "typewriter", title: { text: "", style: "title", animation: "typewriter", entry: 1.2, family: "Monospace", size: 0.09 } },
    { id: "words", title: { text: "", style: "title", animation: "word-by-word", entry: 1.5 } },
    { id: "poster", title: { text: "", style: "title", weight: 900, size: 0.2, outlineWidth: 0.03, outlineColor: "#000000", animation: "rise" } },
    { id: "boxed", title: { text: "", style: "caption", boxColor: "#000000B0", boxRadius: 0.3, boxPaddingX: 0.5, boxPaddingY: 0.25, outlineWidth: 0, animation: "fade" } },
];

export function makeLibrary(root, app) {
    const { state } = app;
    let tab = "media";
    let folder = "";
    let listing = null;
    let fileProblem = null;

    const tabs = kTabs.map((name) =>
        h("button", { type: "button", role: "tab", id: `tab-${name}`, "aria-controls": "library-panel", dataset: { tab: name }, onclick: () => show(name), onkeydown: tabKey }, icon(name, 19), h("span", {}, strings.library.tabs[name])),
    );
    const search = h("input", {
        type: "search",
        id: "library-search",
        autocomplete: "off",
        spellcheck: "false",
        "aria-label": strings.library.search,
        "aria-describedby": "library-count",
        oninput: () => fill(),
        onkeydown(event) {
            if (event.key === "Escape" && search.value) {
                event.preventDefault();
                event.stopPropagation();
                search.value = "";
                fill();
            } else if (event.key === "ArrowDown") {
                event.preventDefault();
                grid.querySelector(".card, .file")?.focus();
            }
        },
    });
    const count = h("p", { class: "hidden", id: "library-count", role: "status" });
    const grid = h("div", { class: "grid", id: "library-panel", role: "tabpanel" });
    const trail = h("div", { class: "trail" });
    root.replaceChildren(
        h("div", { class: "tabs", role: "tablist", "aria-label": strings.library.name }, tabs),
        h("div", { class: "search-box" }, icon("search", 16), search, h("kbd", { "aria-hidden": "true" }, "/")),
        trail,
        count,
        grid,
    );

    function tabKey(event) {
        const way = { ArrowRight: 1, ArrowLeft: -1, ArrowDown: 1, ArrowUp: -1 }[event.key];
        if (!way) return;
        event.preventDefault();
        show(kTabs[(kTabs.indexOf(tab) + way + kTabs.length) % kTabs.length]);
        tabs[kTabs.indexOf(tab)].focus();
    }

    // The arrow keys go through the cards as they lie.
    grid.addEventListener("keydown", (event) => {
        const cards = [...grid.querySelectorAll(".card, .file")];
        const at = cards.indexOf(document.activeElement);
        if (at < 0) return;
        const columns = cards.filter((card) => card.offsetTop === cards[0].offsetTop).length || 1;
        const way = { ArrowRight: 1, ArrowLeft: -1, ArrowDown: columns, ArrowUp: -columns }[event.key];
        if (!way) return;
        event.preventDefault();
        event.stopPropagation();
        if (at + way < 0) search.focus();
        else cards[Math.min(at + way, cards.length - 1)].focus();
    });

    // Cards are loaded when they are about to be seen.
    const watcher = new IntersectionObserver(
        (entries) => {
            for (const { isIntersecting, target } of entries) {
                if (!isIntersecting) continue;
                watcher.unobserve(target);
                const image = new Image();
                image.onload = () => {
                    setStyle(target, { backgroundImage: `url("${image.src}")` });
                    target.classList.add("loaded");
                };
                image.src = target.dataset.source;
            }
        },
        { root: grid, rootMargin: "120px" },
    );

    const draggable = (what) => ({
        draggable: "true",
        ondragstart(event) {
            app.dragged = what;
            event.dataTransfer.effectAllowed = "copy";
            event.dataTransfer.setData("text/plain", what.name ?? "");
        },
        ondragend: () => (app.dragged = null),
    });

    function card(entry) {
        const { frames, width, height } = app.session.card;
        const picture = h("span", { class: "card-picture", dataset: { source: cardUrl(entry.name) }, style: { backgroundSize: `${frames * 100}% 100%`, "--frames": frames } });
        setStyle(picture, { aspectRatio: `${width} / ${height}` });
        const element = h(
            "button",
            {
                type: "button",
                class: `card card-${entry.kind}`,
                title: entry.help,
                dataset: { name: entry.name },
                "aria-label": `${entry.title}. ${entry.help}`,
                onclick: () => app.applyEntry(entry),
                ...draggable({ kind: entry.kind, name: app.catalogue.writtenName(entry), entry }),
            },
            picture,
            h("span", { class: "card-title" }, entry.title),
            entry.isShader ? h("span", { class: "card-kind" }, strings.origins[entry.kind]) : null,
        );
        watcher.observe(picture);
        return element;
    }

    function fileRow(entry) {
        const path = folder ? `${folder}/${entry.name}` : entry.name;
        if (entry.kind === "folder") {
            return h("button", { type: "button", class: "file folder", onclick: () => openFolder(path) }, h("span", { class: "file-icon" }, icon("folder", 22)), h("span", { class: "file-name" }, entry.name), icon("next", 14));
        }
        const file = entry.path ?? path;
        const hasPicture = entry.kind === "video" || entry.kind === "picture";
        const facts = hasPicture || entry.kind === "sound" ? app.factsOf(file) : null;
        const preview = h("span", { class: "file-icon" }, hasPicture ? h("img", { loading: "lazy", alt: "", src: thumbnailUrl(file, Math.min(1, (facts?.seconds ?? 2) / 2), 72) }) : icon({ sound: "sound", subtitles: "subtitles", shader: "shaders" }[entry.kind] ?? "file", 22));
        const used = JSON.stringify(state.document).includes(JSON.stringify(file));
        return h(
            "div",
            { class: "file-box" },
            h(
                "button",
                { type: "button", class: `file file-${entry.kind}`, title: strings.library.add[entry.kind]?.(entry.name) ?? entry.name, dataset: { file }, onclick: () => app.addFile(file, entry.kind), ...draggable({ kind: "file", name: file, type: entry.kind }) },
                preview,
                h("span", { class: "file-name" }, h("span", {}, entry.name), h("span", { class: "muted" }, facts?.seconds && !facts.picture ? shortTime(facts.seconds) : strings.kinds[entry.kind] ?? "")),
                used ? h("span", { class: "used", title: strings.library.used }, icon("check", 14)) : null,
            ),
            hasPicture ? h("button", { type: "button", class: "plain file-more", title: strings.library.asOverlay(entry.name), "aria-label": strings.library.asOverlay(entry.name), onclick: () => app.addFile(file, "overlay") }, icon("layers", 16)) : null,
            entry.kind === "video" ? h("button", { type: "button", class: "plain file-more", title: strings.library.asSound(entry.name), "aria-label": strings.library.asSound(entry.name), onclick: () => app.addFile(file, "sound") }, icon("sound", 16)) : null,
        );
    }

    async function openFolder(path) {
        folder = path;
        let found = { entries: [] };
        let problem = null;
        try {
            found = await getJson("files", { folder: path });
        } catch (error) {
            problem = error.message;
        }
        if (folder !== path) return;  // another one was opened meanwhile
        listing = found;
        fileProblem = problem;
        for (const entry of listing.entries) if (["video", "sound"].includes(entry.kind)) app.factsOf(entry.path ?? (path ? `${path}/${entry.name}` : entry.name));
        if (tab === "media") {
            fill();
            grid.querySelector(".file")?.focus({ preventScroll: true });
        }
    }

    const inTab = {
        effects: (entry) => entry.kind === "effect" && !entry.isShader && entry.origin !== "plug-in",
        transitions: (entry) => entry.kind === "transition" && !entry.isShader,
        looks: (entry) => entry.kind === "effect" && !entry.isShader && entry.origin === "plug-in",
        shaders: (entry) => entry.isShader,
    };

    function empty(text, action) {
        return h("div", { class: "empty" }, icon("search", 26), h("p", {}, text), action);
    }

    function fill() {
        const words = search.value.toLowerCase().split(/\s+/).filter(Boolean);
        const matches = (text) => words.every((word) => text.toLowerCase().includes(word));
        const buttons = () => [...grid.querySelectorAll("button")];
        const focused = buttons().indexOf(document.activeElement);
        watcher.disconnect();
        trail.replaceChildren();
        grid.className = `grid grid-${tab}`;
        grid.setAttribute("aria-labelledby", `tab-${tab}`);
        let found = [];
        if (tab === "media") {
            if (folder) {
                const parts = folder.split("/");
                trail.append(h("button", { type: "button", class: "plain", title: strings.library.up, "aria-label": strings.library.up, onclick: () => openFolder(parts.slice(0, -1).join("/")) }, icon("up", 16)), h("span", {}, folder));
            }
            const entries = (listing?.entries ?? []).filter((entry) => matches(entry.name) && entry.kind !== "edit");
            found = [...entries.filter((e) => e.kind === "folder"), ...entries.filter((e) => e.kind !== "folder")].map(fileRow);
            grid.replaceChildren(...found);
            if (fileProblem) grid.append(empty(fileProblem, h("button", { type: "button", class: "button", onclick: () => openFolder("") }, strings.library.home)));
            else if (listing && !found.length) grid.append(empty(words.length ? strings.library.none(search.value) : strings.library.emptyFolder));
        } else if (tab === "titles") {
            found = kTitlePresets.filter((preset) => matches(strings.titles[preset.id].name)).map((preset) =>
                h("button", { type: "button", class: `card title-card title-${preset.id}`, dataset: { title: preset.id }, title: strings.titles[preset.id].help, onclick: () => app.addTitle(preset), ...draggable({ kind: "title", preset, name: preset.id }) },
                    h("span", { class: "card-picture loaded" }, h("span", { class: "title-sample" }, strings.titles[preset.id].sample)),
                    h("span", { class: "card-title" }, strings.titles[preset.id].name)));
            grid.replaceChildren(...found);
        } else {
            const entries = app.catalogue.entries.filter((entry) => inTab[tab](entry) && words.every((word) => entry.search.includes(word)));
            found = entries.sort((a, b) => a.title.localeCompare(b.title)).map(card);
            grid.replaceChildren(...found);
            if (tab === "shaders") {
                trail.append(h("button", { type: "button", class: "button quiet", onclick: () => app.newShader("effect") }, icon("plus", 16), strings.shader.newEffect), h("button", { type: "button", class: "button quiet", onclick: () => app.newShader("transition") }, icon("plus", 16), strings.shader.newTransition));
            }
            if (!found.length) {
                const elsewhere = ["effects", "transitions", "looks", "shaders"].filter((name) => name !== tab).map((name) => [name, app.catalogue.entries.filter((entry) => inTab[name](entry) && words.every((word) => entry.search.includes(word))).length]).filter(([, n]) => n);
                grid.append(empty(strings.library.none(search.value), elsewhere.map(([name, n]) => h("button", { type: "button", class: "button", onclick: () => show(name) }, `${n} · ${strings.library.tabs[name]}`))));
            }
        }
        search.placeholder = strings.library.searchIn[tab];
        count.textContent = strings.library.count(found.length);
        buttons()[focused]?.focus({ preventScroll: true });
    }
    const fillLater = later(120, fill);

    function show(name) {
        tab = name;
        tabs.forEach((button) => {
            const isOwn = button.dataset.tab === name;
            button.setAttribute("aria-selected", String(isOwn));
            button.tabIndex = isOwn ? 0 : -1;
        });
        grid.scrollTop = 0;
        fill();
    }

    state.on(["facts"], () => tab === "media" && fillLater());
    state.on(["catalogue"], () => tab !== "media" && tab !== "titles" && fill());
    show("media");
    openFolder("");
    return {
        show,
        focusSearch() {
            search.focus();
            search.select();
        },
        reload: () => openFolder(folder),
        get folder() {
            return folder;
        },
    };
}
