"use strict";
(() => {
    const root = document.documentElement;
    const byId = (id) => document.getElementById(id);
    const cards = [...document.querySelectorAll(".card")];
    const store = {
        get(key) {
            try {
                return localStorage.getItem(key);
            } catch {
                return null;
            }
        },
        set(key, value) {
            try {
                localStorage.setItem(key, value);
            } catch {
                // The page works without memory.
            }
        },
    };

    // Colours: as the system has them, until someone chooses.
    const dark = matchMedia("(prefers-color-scheme: dark)");
    const theme = byId("theme");
    let chosen = store.get("kaltor-theme");
    function showTheme() {
        root.dataset.theme = chosen ?? (dark.matches ? "dark" : "light");
        theme.setAttribute("aria-pressed", String(root.dataset.theme === "dark"));
    }
    theme.addEventListener("click", () => {
        chosen = root.dataset.theme === "dark" ? "light" : "dark";
        store.set("kaltor-theme", chosen);
        showTheme();
    });
    dark.addEventListener("change", showTheme);
    showTheme();

    // Motion: a preview plays where it is looked at, unless motion is not wanted; a click always decides.
    const still = matchMedia("(prefers-reduced-motion: reduce)");
    const motion = byId("motion");
    let isMoving = true;
    const players = cards.filter((card) => card.querySelector("video")).map((card) => {
        const video = card.querySelector("video");
        const button = card.querySelector(".play");
        const stage = card.querySelector(".stage");
        const title = card.querySelector("h2").textContent;
        const player = { card, isSeen: false, isAttended: false, choice: null };
        video.controls = false;
        video.muted = true;
        player.update = () => {
            const wants = player.choice ?? (isMoving && (player.isSeen || player.isAttended));
            if (wants && video.paused && !card.hidden) {
                video.play().catch(() => {});
            } else if ((!wants || card.hidden) && !video.paused) {
                video.pause();
            }
        };
        const show = () => {
            button.setAttribute("aria-pressed", String(!video.paused));
            button.setAttribute("aria-label", `${video.paused ? "Play" : "Pause"} ${title}`);
        };
        video.addEventListener("playing", () => {
            stage.classList.add("playing");
            show();
        });
        video.addEventListener("pause", show);
        button.addEventListener("click", () => {
            player.choice = video.paused;
            player.update();
        });
        const attend = (isAttended) => () => {
            player.isAttended = isAttended;
            player.update();
        };
        card.addEventListener("pointerenter", attend(true));
        card.addEventListener("pointerleave", attend(false));
        card.addEventListener("focusin", attend(true));
        card.addEventListener("focusout", attend(false));
        return player;
    });
    const playerOf = new Map(players.map((player) => [player.card, player]));
    const watcher = new IntersectionObserver(
        (entries) => {
            for (const entry of entries) {
                const player = playerOf.get(entry.target.closest(".card"));
                player.isSeen = entry.intersectionRatio >= 0.6;
                if (entry.intersectionRatio === 0) {
                    player.choice = null;
                }
                player.update();
            }
        },
        { threshold: [0, 0.6] },
    );
    players.forEach((player) => watcher.observe(player.card.querySelector(".stage")));

    function setMotion(isWanted) {
        isMoving = isWanted;
        motion.setAttribute("aria-pressed", String(isMoving));
        players.forEach((player) => {
            player.choice = null;
            player.update();
        });
    }
    const setMotionBySystem = () => setMotion(store.get("kaltor-motion") !== "off" && !still.matches);
    motion.addEventListener("click", () => {
        setMotion(!isMoving);
        store.set("kaltor-motion", isMoving ? "on" : "off");
    });
    still.addEventListener("change", setMotionBySystem);
    setMotionBySystem();

    // Search and filter.
    const query = byId("query");
    const kinds = [...document.querySelectorAll("input[name=kind]")];
    function find() {
        const words = query.value.toLowerCase().split(/\s+/).filter(Boolean);
        const kind = kinds.find((input) => input.checked).value;
        let count = 0;
        for (const card of cards) {
            const isFound = (!kind || card.dataset.kind === kind) && words.every((word) => card.dataset.search.includes(word));
            card.hidden = !isFound;
            count += isFound;
            playerOf.get(card)?.update();
        }
        byId("count").textContent = count === 1 ? "1 preview" : `${count} previews`;
        byId("none").hidden = count > 0;
    }
    function clear() {
        query.value = "";
        kinds[0].checked = true;
        find();
        query.focus();
    }
    query.addEventListener("input", find);
    kinds.forEach((input) => input.addEventListener("change", find));
    byId("clear").addEventListener("click", clear);
    document.addEventListener("keydown", (event) => {
        const isTyping = event.target.closest("input[type=search], textarea, [contenteditable]");
        if (event.key === "/" && !isTyping && !event.ctrlKey && !event.metaKey && !event.altKey) {
            event.preventDefault();
            query.focus();
            query.select();
        } else if (event.key === "Escape" && event.target === query) {
            query.value = "";
            find();
        }
    });
    find();  // a browser may have kept what was typed

    // Copying.
    async function copy(text) {
        try {
            await navigator.clipboard.writeText(text);
            return true;
        } catch {
            const area = document.createElement("textarea");
            area.value = text;
            area.style.position = "fixed";
            area.style.opacity = "0";
            document.body.append(area);
            area.select();
            const isDone = document.execCommand("copy");
            area.remove();
            return isDone;
        }
    }
    document.querySelectorAll(".copy").forEach((button) => {
        const label = button.firstElementChild;
        button.addEventListener("click", async () => {
            const isDone = await copy(button.parentElement.querySelector("code").textContent);
            button.focus();
            button.classList.toggle("done", isDone);
            label.textContent = isDone ? "Copied" : "Press Ctrl+C";
            byId("count").textContent = isDone ? "The command is copied" : "The command could not be copied";
            setTimeout(() => {
                button.classList.remove("done");
                label.textContent = "Copy";
                find();
            }, 1600);
        });
    });
})();
