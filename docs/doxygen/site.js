// The search, and what a page of Doxygen unfolds. Nothing comes from the network.
"use strict";

(() => {
    const here = new URL(document.currentScript.src);
    const folder = here.href.slice(0, here.href.lastIndexOf("/") + 1);
    const field = document.getElementById("search");
    const list = document.getElementById("results");
    const SHOWN = 12;
    let loading = null;
    let index = null;
    let chosen = -1;

    const load = (file) => new Promise((done, failed) => {
        const script = document.createElement("script");
        script.src = folder + file;
        script.onload = done;
        script.onerror = failed;
        document.head.append(script);
    });

    // The index is large, so it is loaded when somebody begins to search.
    const prepare = () => {
        loading = loading || Promise.all([load("lunr.js"), load("search-index.js")]).then(() => {
            index = lunr.Index.load(window.searchIndex.index);
        });
        return loading;
    };

    const find = (text) => {
        const words = text.toLowerCase().split(/[^\p{L}\p{N}_]+/u).filter((word) => word);
        if (!words.length) {
            return [];
        }
        // The index leaves out words such as "of".
        const telling = words.filter((word) => lunr.stopWordFilter(word));
        // Of several, one is meant as well.
        const terms = (telling.length ? telling : words).map((word) => word.length > 3 ? word.replace(/s$/, "") : word);
        // All words first. If no entry has them all, those that have one.
        for (const presence of [lunr.Query.presence.REQUIRED, lunr.Query.presence.OPTIONAL]) {
            const found = index.query((query) => {
                for (const term of terms) {
                    const wanted = terms.length > 1 ? presence : lunr.Query.presence.OPTIONAL;
                    query.term(term, {boost: 10, presence: lunr.Query.presence.OPTIONAL});
                    query.term(term, {boost: 4, wildcard: lunr.Query.wildcard.TRAILING, presence: wanted, usePipeline: false});
                    if (term.length > 3 && wanted === lunr.Query.presence.OPTIONAL) {
                        query.term("*" + term + "*", {boost: 1, usePipeline: false});
                    }
                }
            });
            if (found.length) {
                return found;
            }
        }
        return [];
    };

    // What bears the very name stands before what only has it among its words: 0 for a class or a whole page.
    const rank = ([title, place, kind], text) => {
        const name = text.toLowerCase().replace(/\(.*/, "");
        if (!`::${place}::${title}`.toLowerCase().endsWith(`::${name}`)) {
            return 2;
        }
        return kind === "class" || (kind === "page" && !place) ? 0 : 1;
    };

    const findEntries = (text) => find(text).map((found) => window.searchIndex.entries[found.ref])
        .sort((left, right) => rank(left, text) - rank(right, text));

    const element = (name, className, text) => {
        const made = document.createElement(name);
        made.className = className;
        made.textContent = text;
        return made;
    };

    const row = ([title, place, kind, url, text]) => {
        const link = element("a", "", "");
        link.href = folder + url;
        const head = element("span", "head", "");
        head.append(element("b", "", title), element("span", "place", place), element("span", "kind " + kind, kind));
        link.append(head, element("span", "text", text));
        const item = document.createElement("li");
        item.append(link);
        return item;
    };

    const choose = (number) => {
        const links = list.querySelectorAll("a");
        chosen = links.length ? (number + links.length) % links.length : -1;
        links.forEach((link, place) => link.classList.toggle("chosen", place === chosen));
        if (chosen >= 0) {
            links[chosen].scrollIntoView({block: "nearest"});
        }
    };

    const show = () => {
        const text = field.value.trim();
        list.hidden = !text;
        if (!text || !index || text === list.dataset.text) {
            return;
        }
        const rows = findEntries(text).slice(0, SHOWN).map(row);
        list.dataset.text = text;
        list.replaceChildren(...(rows.length ? rows : [element("li", "nothing", "Nothing found")]));
        choose(0);
    };

    const close = () => {
        list.hidden = true;
        field.blur();
    };

    field.addEventListener("focus", () => prepare().then(show));
    field.addEventListener("input", () => prepare().then(show));
    field.addEventListener("keydown", (event) => {
        if (event.key === "ArrowDown" || event.key === "ArrowUp") {
            choose(chosen + (event.key === "ArrowDown" ? 1 : -1));
            event.preventDefault();
        } else if (event.key === "Enter" && chosen >= 0) {
            list.querySelectorAll("a")[chosen].click();
        } else if (event.key === "Escape") {
            close();
        }
    });
    document.addEventListener("keydown", (event) => {
        if (event.key === "/" && !/^(INPUT|TEXTAREA)$/.test(document.activeElement.tagName)) {
            field.focus();
            event.preventDefault();
        }
    });
    document.addEventListener("click", (event) => {
        if (!event.target.closest(".search")) {
            list.hidden = true;
        } else if (event.target.closest("#results a")) {
            // A result on this page moves only within it.
            close();
        }
    });

    // The navigation shows where the reader is.
    const page = location.pathname.split("/").pop() || "index.html";
    const entry = document.querySelector(`.tree a[href="${CSS.escape(page)}"]`);
    if (entry) {
        entry.setAttribute("aria-current", "page");
        const tree = document.querySelector(".tree");
        tree.scrollTop = Math.max(0, entry.offsetTop - tree.clientHeight / 2);
    }

    // A long name of a class may break behind its namespace. What a header or a namespace is shows by its name.
    document.querySelectorAll(".title").forEach((title) => {
        title.innerHTML = title.innerHTML.replaceAll("::", "::<wbr>").replace(/ (File|Namespace) Reference/, "");
    });

    // Doxygen writes calls of this function into its pages.
    window.toggleInherit = (id) => {
        document.querySelector(`tr.inherit_header.${CSS.escape(id)}`).classList.toggle("open");
        document.querySelectorAll(`tr.inherit.${CSS.escape(id)}`).forEach((line) => line.classList.toggle("shown"));
    };
})();
