//! A contender of the comparison: adblock-rust, asked as its users in Rust ask it.
//!
//!   adblock_contender QUESTIONS LIST...             answers rows
//!   adblock_contender --verdicts QUESTIONS LIST...  "blocked" or "none" and the rule, a line each
//!   adblock_contender --batch LIST...               the same, of each line "TYPE<tab>PAGE URL<tab>URL" of
//!                                                   standard input at once, as `velmora ads --batch` does
//!
//! QUESTIONS has lines "TYPE<tab>PAGE HOST<tab>URL". A row's name is read from standard input
//! and answered with "AMOUNT WALL_SECONDS CPU_SECONDS".

use std::io::BufRead;
use std::time::{Duration, Instant};

use adblock::lists::{FilterSet, ParseOptions};
use adblock::request::Request;
use adblock::url_parser::{set_domain_resolver, ResolvesDomain};
use adblock::Engine;
use publicsuffix::{List, Psl};

const SUFFIXES: &str = "/usr/share/publicsuffix/public_suffix_list.dat";

struct Resolver(List);

impl ResolvesDomain for Resolver {
    fn get_host_domain(&self, host: &str) -> (usize, usize) {
        match self.0.domain(host.as_bytes()) {
            Some(domain) => (host.len() - domain.as_bytes().len(), host.len()),
            None => (0, host.len()),
        }
    }
}

struct Question {
    kind: String,
    page: String,
    url: String,
}

fn read_questions(file: &str) -> Vec<Question> {
    let bytes = std::fs::read(file).expect("the questions");
    let text = String::from_utf8_lossy(&bytes);
    text.lines()
        .filter_map(|line| {
            let mut parts = line.splitn(3, '\t');
            Some(Question {
                kind: parts.next()?.to_string(),
                page: format!("https://{}/", parts.next()?),
                url: parts.next()?.to_string(),
            })
        })
        .collect()
}

fn load(lists: &[String], debug: bool) -> Engine {
    let mut set = FilterSet::new(debug);
    for list in lists {
        let text = std::fs::read_to_string(list).expect("a list");
        set.add_filters(text.lines(), ParseOptions::default());
    }
    Engine::from_filter_set(set, true)
}

fn requests(questions: &[Question]) -> Vec<Option<Request>> {
    let request = |question: &Question| Request::new(&question.url, &question.page, &question.kind).ok();
    questions.iter().map(request).collect()
}

fn verdict(engine: &Engine, request: Option<Request>) -> String {
    let result = request.map(|request| engine.check_network_request(&request));
    match result {
        Some(result) if result.matched => format!("blocked\t{}", result.filter.unwrap_or_default()),
        _ => "none\t".to_string(),
    }
}

fn answer_batch(lists: &[String]) {
    let engine = load(lists, true);
    for line in std::io::stdin().lock().lines().map_while(Result::ok) {
        let parts: Vec<&str> = line.splitn(3, '\t').collect();
        let request = match parts[..] {
            [kind, page, url] => Request::new(url, page, kind).ok(),
            _ => None,
        };
        println!("{}", verdict(&engine, request));
    }
}

fn cpu_seconds() -> f64 {
    let mut time = libc::timespec { tv_sec: 0, tv_nsec: 0 };
    // SAFETY: the call only writes to `time`.
    unsafe { libc::clock_gettime(libc::CLOCK_PROCESS_CPUTIME_ID, &mut time) };
    time.tv_sec as f64 + time.tv_nsec as f64 * 1e-9
}

fn main() {
    let mut arguments: Vec<String> = std::env::args().skip(1).collect();
    let is_asked_for = |option| arguments.first().map(String::as_str) == Some(option);
    let (verdicts, batch) = (is_asked_for("--verdicts"), is_asked_for("--batch"));
    if verdicts || batch {
        arguments.remove(0);
    }
    let suffixes = std::fs::read_to_string(SUFFIXES).expect("the list of public suffixes");
    let _ = set_domain_resolver(Box::new(Resolver(suffixes.parse().expect("suffixes"))));
    if batch {
        return answer_batch(&arguments);
    }
    let questions = read_questions(&arguments[0]);
    let lists = arguments[1..].to_vec();
    let bytes: u64 = lists.iter().map(|list| std::fs::metadata(list).map_or(0, |file| file.len())).sum();

    if verdicts {
        let engine = load(&lists, true);
        for request in requests(&questions) {
            println!("{}", verdict(&engine, request));
        }
        return;
    }

    let mut engine: Option<Engine> = None;
    let mut prepared = Vec::new();
    for row in std::io::stdin().lock().lines().map_while(Result::ok) {
        if row != "load" && engine.is_none() {
            engine = Some(load(&lists, false));
        }
        if row == "questions prepared" && prepared.is_empty() {
            prepared = requests(&questions);
        }
        let (start, cpu) = (Instant::now(), cpu_seconds());
        let mut amount = 0;
        let mut blocked = 0;
        while amount == 0 || start.elapsed() < Duration::from_millis(60) {
            match (row.as_str(), &engine) {
                ("load", _) => {
                    engine = Some(load(&lists, false));
                    amount += bytes;
                }
                ("questions prepared", Some(engine)) => {
                    for request in prepared.iter().flatten() {
                        blocked += u64::from(engine.check_network_request(request).matched);
                    }
                    amount += questions.len() as u64;
                }
                ("questions", Some(engine)) => {
                    for question in &questions {
                        if let Ok(request) = Request::new(&question.url, &question.page, &question.kind) {
                            blocked += u64::from(engine.check_network_request(&request).matched);
                        }
                    }
                    amount += questions.len() as u64;
                }
                _ => break,
            }
        }
        std::hint::black_box(blocked);
        let wall = start.elapsed().as_secs_f64();
        if amount == 0 {
            println!("no row {row}");
        } else {
            println!("{amount} {wall:.9} {:.9}", cpu_seconds() - cpu);
        }
    }
}
